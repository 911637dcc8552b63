// Every reader of configuration and setup files, and the setup, on any file.
#include "Common/INI.h"
#include "fuzz.h"
#include "src/ActiveVolumeProgram.h"

extern char g_linetext[1024];  // the line that the INI reader read last

// What the reader should make of the next line.
static string NextLine(FILE* stream) {
    string line;
    while (!feof(stream)) {
        const char c = static_cast<char>(fgetc(stream));
        if (c == '\n' && !line.empty()) break;
        if (c != '\n' && c != '\r') line += c;
    }
    line.resize(sizeof g_linetext - 1);
    return line + '\0';
}

void Try(Input* input) {
    const size_t choices = input->Below(256);
    const string section = input->Text().c_str(), key = input->Text().c_str(), path = Path(kSetup);
    Prepare(input->left);
    FILE *ours = fopen(path.c_str(), "rb"), *model = fopen(path.c_str(), "rb");
    while (!feof(ours)) {
        const char* line = ReadLine(ours);
        const string expected = NextLine(model);
        Require(string(g_linetext, sizeof g_linetext) == expected && ftell(ours) == ftell(model) &&
                    line == (expected[0] ? g_linetext : nullptr),
                expected);
        const string text = g_linetext, head = ("[" + section + "]").substr(0, 127);
        const char* const equals = strchr(g_linetext, '=');
        Require(GetKeyValue(g_linetext) == (equals ? equals + 1 : nullptr) &&
                    SectionExistsInLine(g_linetext, section.c_str()) == (text.find(head) != string::npos),
                expected);
    }
    fclose(model);

    int64_t limit = 1024;
    rewind(ours);
    for (const bool isSection : {true, false, false}) {
        char text[1024] = {};
        (isSection ? section : key).copy(text, sizeof text - 1);
        const auto at =
            static_cast<size_t>(ReadKeyValue(ours, text, choices & 4 ? 1024 : 8, &limit, isSection));
        Require(at == string::npos || (isSection ? at < input->left.size() : input->left.at(at - 1) == '='),
                text);
    }
    fclose(ours);

    Require(SetIniFileName(path.c_str()) && ReadInteger(section.c_str(), key.c_str(), 7) == 7, path);
    string value = ReadStringEx(section.c_str(), key.c_str(), " default");
    Require(string(ReadString(section.c_str(), key.c_str(), "default")) == Trim(value.data()), value);
    value = ReadString(section.c_str(), key.c_str(), "");
    Require(GetInitKey("unused", section.c_str(), key.c_str()) == value, value);
    IsKeyValueCaseEqual(path.c_str(), section.c_str(), key.c_str(), "true");

    scene.answers = {{"open", {choices & 1 ? -1 : 0, choices & 2 ? 256 : 0, 0}}};
    KeepsSetup([&] { RunSDProgram(path.c_str(), "open \"", Path("/Volumes/").c_str()); });
}

#include "src/ActiveVolumeProgram.h"

#include <cstring>

#include "fakes.h"

using namespace fakes;

namespace {

using ScannerTest = DaemonTest;
using VolumeTest = DaemonTest;
using SetupTest = DaemonTest;

// ---- The scanner

TEST_F(ScannerTest, TrimKey) {
    for (string text : {"[SD_THIRDPARTY_SETUP]", " \r\n[ a [b] c ]\r\n ", "\ta\t", "a", "", " [] \r\n"})
        Case(text, [&](Result result) { result << TrimKey(text.data()) << " " << text.c_str(); });
    Case("null", [](Result result) { result << TrimKey(nullptr); });
}

TEST_F(ScannerTest, IsPrimaryKey) {
    for (const char* line : {"[Volumes]", "  [ Volumes ]  ; note", "x[Volumes]y", "[VolumesX]", "Volumes]",
                             "   Volumes]", "[Volumes", "[\tVolumes]", "[Volumes\t]", "[x Volumes]"})
        Case(line, {"exit"},
             [&](Result result) { result << IsPrimaryKey(line, strstr(line, "Volumes"), 7); });
    Case("null or negative", [](Result result) {
        result << IsPrimaryKey(nullptr, "a", 1) << IsPrimaryKey("[a]", nullptr, 1)
               << IsPrimaryKey("[a]", "a", -1) << IsPrimaryKey("[a]", "a]", 3);
    });
}

// Looks up one name after the other; [sections] and keys. A limit of 0 is none.
void LookUp(Result result, const std::vector<string>& names, int32_t size = 1024, int64_t limit = 1024) {
    FILE* file = fopen(Path("/f").c_str(), "r");
    for (const string& name : names) {
        char value[1100];
        result << ReadKeyValue(file, strcpy(value, name.c_str()), size, limit ? &limit : nullptr,
                               name[0] == '[')
               << " '" << value << "' at " << ftell(file) << " limit " << limit << "; ";
    }
    fclose(file);
}

TEST_F(ScannerTest, ReadKeyValue) {
    const string kPiece(1023, 'x');
    const std::pair<string, std::vector<string>> kRows[] = {
        {"x|[S]|PATH=x|KEY= yes |PATHS|", {"[S]", "KEY", "PATH"}},
        {"[S]|b=1|K=x[1]|", {"[S]", "K", "b"}},
        {"S|[SX]|S [S]|[S]|", {"[ S ]", "K"}},
        {"OLD_KEY_NEW \t= a=b\t\r|KEY=|", {" KEY ", "KEY"}},
        {"KEY\r=1|KEY|KEY=", {"KEY", "KEY"}},
        {"KEY=a~b|KEY~=c|KEY=d|", {"KEY", "KEY"}},
        {kPiece + "KEY=1|" + kPiece + kPiece + "|[S]|", {"KEY", "[S]"}},
        {string(1020, 'x') + "KEY=1|K=2|", {"KEY", "K"}},
        {"", {"KEY", ""}}};
    for (const auto& [lines, names] : kRows) {
        Write("/f", Lines(lines));
        Case(lines, [&, &names = names](Result result) { LookUp(result, names); });
    }
    Write("/f", Lines("a|KEY= 12345 |[B"));
    for (int32_t size : {0, 1, 4}) Case("size", [&](Result result) { LookUp(result, {"KEY"}, size); });
    for (int64_t limit : {0, 6, 5})
        Case("limit", [&](Result result) { LookUp(result, {"KEY", "KEY"}, 1024, limit); });
    for (int64_t limit : {1, 6}) {
        Fail("fseek", 1);
        Case("no seek", [&](Result result) { LookUp(result, {limit == 1 ? "KEY" : "B"}, 1024, limit); });
    }
    Case("null", [](Result result) {
        char name[] = "a";
        result << ReadKeyValue(nullptr, name, 2, nullptr, false)
               << ReadKeyValue(stdin, nullptr, 2, nullptr, false);
    });
}

TEST_F(ScannerTest, IsKeyValueCaseEqual) {
    const string kLong(1024, 's'), kLongest(1023, 's'), kPath = Path("/f");
    const char* file = kPath.c_str();
    const std::vector<string> kParts = {"*", "IsKeyValueCa", "ReadKeyValue Enter"};
    for (const char* content :
         {"", "[V]|[W]|k=true|", "[V]|k=|", "[V]|k=true\t|", "[V]|k= true \r|", "[V]|k=TRUE|"}) {
        Write("/f", Lines(content));
        Case(content, kParts, [&](Result result) { result << IsKeyValueCaseEqual(file, "V", "k", "true"); });
    }
    Case("on", kParts, [&](Result result) {
        result << IsKeyValueCaseEqual(file, "[V]", "k", "tRue")
               << IsKeyValueCaseEqual(file, kLong.c_str(), "k", "true")
               << IsKeyValueCaseEqual(file, "V", kLong.c_str(), "true")
               << IsKeyValueCaseEqual(file, kLongest.c_str(), "k", "true")
               << IsKeyValueCaseEqual(file, "V", kLongest.c_str(), "true")
               << IsKeyValueCaseEqual(nullptr, "V", "k", "true")
               << IsKeyValueCaseEqual(file, nullptr, "k", "true")
               << IsKeyValueCaseEqual(file, "V", nullptr, "true")
               << IsKeyValueCaseEqual(file, "V", "k", nullptr)
               << IsKeyValueCaseEqual("/none", "V", "k", "true")
               << IsKeyValueCaseEqual(Path("/Volumes").c_str(), "V", "k", "true");
    });
}

// ---- Volumes

const string kFolder = Path("/Volumes/");
const char* const kPrefix = kFolder.c_str();

TEST_F(VolumeTest, IsVolumeExist) {
    const string kPath = kFolder + "Pelluria";
    const auto look = [&](const char* volume, const char* prefix, int32_t testTime, int appears = -1) {
        scene.onSecond = [appears] {
            if (scene.slept == appears) MakeFolder("/Volumes/Pelluria");
        };
        if (appears == 0) MakeFolder("/Volumes/Pelluria");
        Case(std::to_string(testTime) + " s, there after " + std::to_string(appears), [&](Result result) {
            result << IsVolumeExist(volume, prefix, testTime);
            if (!scene.sizes.empty()) result << " malloc " << scene.sizes[0];
        });
        Remove("/Volumes/Pelluria");
    };
    look(nullptr, kPrefix, 10);
    for (int32_t testTime : {0, -1, 1}) look("Pelluria", kPrefix, testTime, 0);
    look("Pelluria", kPrefix, 1);
    look("Pelluria", kPrefix, 300, 5);
    look("Pelluria", kPrefix, 5, 6);
    look(kPath.c_str(), nullptr, 3, 2);
    look(kPath.c_str(), "", 3, 4);
    Write("/Volumes/file", "");
    for (const char* name : {"", "file"}) look(name, kPrefix, 2);
    look("", "", 2);
    Case("150 tries", {" 149 time", "exit"},
         [](Result result) { result << IsVolumeExist("none", kPrefix, 299) << scene.slept; });
}

TEST_F(VolumeTest, GetTempVolumeName) {
    for (const char* volume : {"Third Party Setup", "Third Party Setup 1", "Third Party Setup 3", "A B C",
                               "Setup2 Go", "My App", "Driver. Setup", "\xC3\x84 A", "Setup", "a"})
        MakeFolder(string("/Volumes/") + volume);
    for (int number = 1; number <= 10; ++number) MakeFolder("/Volumes/a " + std::to_string(number));
    const auto choose = [](Result result, const string& image, int32_t size = 1024, int64_t limit = 1000,
                           const char* prefix = kPrefix) {
        char name[1024] = {};
        image.copy(name, sizeof name);
        scene.sizes.clear();
        result << GetTempVolumeName(name, size, &limit, prefix, 2) << " '" << name << "' limit " << limit;
        if (!scene.sizes.empty()) result << " malloc " << scene.sizes[0] << "; ";
    };
    for (const char* image :
         {"ThirdPartySetup", "ABC", "Setup2Go", "My App", "Driver.Setup", "\xC3\x84\x41", "a", "none", ""})
        Case(image, [&](Result result) { choose(result, image); });
    Case("limits", [&](Result result) {
        for (int64_t limit : {24, 23, -1}) choose(result, "Setup", 1024, limit);
    });
    Case("sizes", [&](Result result) {
        choose(result, "Setup", 20), choose(result, "Setup", 0), choose(result, "", 0);
    });
    Case("prefixes", [&](Result result) {
        choose(result, ".", 1024, 1000, ""), choose(result, ".", 1024, 1000, nullptr);
    });
    Case("null", [](Result result) {
        char name[] = "Setup";
        int64_t limit = 1000;
        result << GetTempVolumeName(name, 6, nullptr, kPrefix, 2)
               << GetTempVolumeName(nullptr, 0, &limit, kPrefix, 2);
    });
}

// ---- The third-party setup

const char kFile[] = "/SysConfig.dat";

// The setup file with another line for one of the keys, or without a key.
string Section(const string& change = "") {
    string file =
        "[Other]|SD_THIRD_SETUP=no|[SD_THIRDPARTY_SETUP]|SD_THIRD_SETUP=Yes|SD_THIRD_FILE_PATH=Pelluria|"
        "SD_THIRD_FILE_NAME=ThirdPartySetup.dmg|SD_RUN_THIRD_FILE_ONCE=yes|[End]|";
    const size_t line = file.rfind(change.substr(0, change.find_first_of(" =")) + "=");
    const size_t end = file.find('|', line) + 1;
    if (!change.empty()) file.replace(line, end - line, change.find('=') == string::npos ? "" : change + "|");
    return Lines(file);
}

// Runs the setup; tells how it ended, how long it waited, and what is different in the file.
void Install(Result result, const char* head = "open \"", const string& prefix = kFolder) {
    const string before = Read(kFile);
    result << RunSDProgram(Path(kFile).c_str(), head, prefix.c_str()) << " after " << scene.slept << " s";
    const string after = Read(kFile);
    if (after.size() != before.size()) result << ", another length";
    for (size_t i = 0; i < std::min(after.size(), before.size()); ++i)
        if (after[i] != before[i]) result << ", " << i << " is " << after[i];
}

TEST_F(SetupTest, RunSDProgram) {
    for (const char* volume : {"Pelluria", "Third Party Setup", "Driver. Setup", "Installer", ".pkg"})
        MakeFolder(string("/Volumes/") + volume);
    const std::vector<string> kParts = {"RunSDProgram ---", "* system", "SysConfig"};
    const auto install = [](Result result) { Install(result); };
    for (const char* change : {"",
                               "SD_THIRD_SETUP = YES  \r",
                               "SD_THIRD_FILE_PATH= Pelluria\r",
                               "SD_THIRD_SETUP=y",
                               "SD_THIRD_SETUP=Yes\t",
                               "SD_THIRD_SETUP=No~",
                               "SD_THIRD_SETUP",
                               "SD_RUN_THIRD_FILE_ONCE=no",
                               "SD_RUN_THIRD_FILE_ONCE",
                               "SD_THIRD_FILE_PATH=Pelluria[1]",
                               "SD_THIRD_FILE_PATH=",
                               "SD_THIRD_FILE_PATH=none",
                               "SD_THIRD_FILE_NAME",
                               "SD_THIRD_FILE_NAME=",
                               "SD_THIRD_FILE_NAME=Driver.Setup.dmg",
                               "SD_THIRD_FILE_NAME=Installer",
                               "SD_THIRD_FILE_NAME=.pkg",
                               "SD_THIRD_FILE_NAME=None.dmg",
                               "SD_THIRD_FILE_NAME=a\"%s%%%d%%%%.dmg",
                               "SD_THIRD_FILE_NAME=a%n.dmg"}) {
        Write(kFile, Section(change));
        Case(change, kParts, install);
    }
    const struct {
        const char* name;
        string file;
    } kFiles[] = {
        {"no section", Lines("SD_THIRD_SETUP=Yes|SD_THIRD_FILE_PATH=Pelluria|")},
        {"name before path", Lines("[SD_THIRDPARTY_SETUP]|SD_THIRD_SETUP=Yes|SD_THIRD_FILE_NAME=a.dmg|SD_"
                                   "THIRD_FILE_PATH=Pelluria|")},
        {"long and binary lines", string(1 << 20, '\0') + "\n" + string(1 << 20, 'x') + "\n" + Section()},
        {"long name", Section("SD_THIRD_FILE_NAME=" + string(600, 'n'))}};
    for (const auto& [name, file] : kFiles) Write(kFile, file), Case(name, kParts, install);
    for (const char* part : {"dmg", "pkg"}) {
        Write(kFile, Section());
        scene.answers = {{part, {256}}};
        Case(part, kParts, install);
    }
    Write(kFile, Section());
    for (size_t slashes : {2001u, 2002u})  // the longest command, and one character more
        Case(std::to_string(slashes) + " slashes", {"too long", "* system", "SysConfig"},
             [&](Result result) { Install(result, "open \"", Path("/Volumes") + string(slashes, '/')); });
    Case("twice", kParts, [](Result result) { Install(result), Install(result); });
    Case("nothing", [](Result result) {
        Install(result, ""), Install(result, nullptr), Install(result, "c", "");
        result << RunSDProgram(Path(kFile).c_str(), "c", nullptr) << RunSDProgram("", "c", "/")
               << RunSDProgram(nullptr, "c", "/");
    });
    Remove(kFile);
    Case("missing", install);
    MakeFolder(kFile);
    Case("folder", install);
}

}  // namespace

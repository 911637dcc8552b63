#include "Common/INI.h"

#include <cstring>

#include "Common/Log.h"
#include "Common/Paths.h"
#include "velmar/velmar.h"

char g_filename[1024] = ZERBIN_INITIAL_INI_FILE;  // the selected file
char g_linetext[1024];                            // the last line read; the rest is zero
static size_t g_lineLength;                       // of that line, including NULs in it
// Kept: the offsets and the size are part of the module's state, although nothing reads them.
int32_t g_last_line_offset;     // where the line before it ends
int32_t g_current_line_offset;  // where that line ends
int32_t g_filesize;             // never set

namespace {

constexpr char kSource[] = "Common/INI";
constexpr size_t kHeaderSize = 128;

bool HasBrackets(const char* line) {
    return strchr(line, '[') != nullptr && strchr(line, ']') != nullptr;
}

// "[section]", cut to kHeaderSize - 1 characters.
void ComposeHeader(char* header, const char* section) {
    velmar::snprintf_s(header, kHeaderSize, kHeaderSize - 1, "[%s]", section);
}

// Appends to g_linetext, as far as there is room, and drops carriage returns.
void Append(const char* text, size_t count) {
    for (const char* const end = text + count; text < end; ++text) {
        const auto* stop = static_cast<const char*>(memchr(text, '\r', static_cast<size_t>(end - text)));
        if (stop == nullptr) stop = end;
        size_t length = static_cast<size_t>(stop - text);
        const size_t room = sizeof g_linetext - 1 - g_lineLength;
        if (length > room) length = room;
        velmar::memcpy_s(g_linetext + g_lineLength, room, text, length);
        g_lineLength += length;
        text = stop;
    }
}

// The number of characters that fgets put into `piece`. fgets reports no length, and strlen stops at an
// embedded NUL, so the buffer is pre-filled with '\n': where a '\n' is followed by a NUL, a line end was
// read; otherwise the first '\n' is filler, just past the terminator.
size_t PieceLength(const char* piece, size_t size) {
    const auto* feed = static_cast<const char*>(memchr(piece, '\n', size));
    if (feed == nullptr) return size - 1;
    const auto at = static_cast<size_t>(feed - piece);
    return at + 1 < size && feed[1] == '\0' ? at + 1 : at - 1;
}

// Reads the next piece of the line in g_linetext; false when the line is complete.
bool AppendPiece(FILE* stream) {
    char piece[256];
    velmar::memset_s(piece, sizeof piece, '\n', sizeof piece);
    const bool isRead = fgets(piece, sizeof piece, stream) != nullptr;
    if (isRead) {
        const size_t length = PieceLength(piece, sizeof piece);
        const bool isEnd = piece[length - 1] == '\n';
        Append(piece, isEnd ? length - 1 : length);
        if (isEnd) return g_lineLength == 0;  // empty lines vanish
    }
    if (feof(stream) == 0) return isRead;  // a read error ends the line as well
    // Kept: the end of the file is stored like a character, so
    // a last line without a line feed ends with a byte 0xFF.
    Append("\xFF", 1);
    return false;
}

// The text after the first '=' of g_linetext, or its end when it has none.
char* ValueInLine() {
    char* equals = strchr(g_linetext, '=');
    return equals != nullptr ? equals + 1 : g_linetext + strlen(g_linetext);
}

FILE* OpenSelectedFile() {
    FILE* stream = fopen(g_filename, "rb");
    if (stream != nullptr) rewind(stream);  // from then on ftell knows the offset without asking the system
    return stream;
}

}  // namespace

bool SetIniFileName(const char* path) {
    if (path == nullptr) {
        Log(kSource, "SetIniFileName", "param error.");
        return false;
    }
    FILE* stream = fopen(path, "rb");
    if (stream == nullptr) {
        Log(kSource, "SetIniFileName", "open file: %s failed, please check...\n", path);
        return false;
    }
    velmar::memset_s(g_filename, sizeof g_filename, 0, sizeof g_filename);
    velmar::strncpy_s(g_filename, sizeof g_filename, path, sizeof g_filename - 1);
    fclose(stream);
    return true;
}

const char* ReadString(const char* section, const char* key, const char* defaultValue) {
    if (section == nullptr || key == nullptr || defaultValue == nullptr) {
        Log(kSource, "ReadString", "param error.");
        return defaultValue;
    }
    FILE* stream = OpenSelectedFile();
    if (stream == nullptr) {
        Log(kSource, "ReadString", "open file: %s failed, please check...", g_filename);
        return defaultValue;
    }
    char* value = nullptr;
    if (!SectionExists(stream, section))
        Log(kSource, "ReadString", "cfg section [%s] not exists...", section);
    else if (!KeyExists(stream, key))
        Log(kSource, "ReadString", "cfg key [%s] not exists...", key);
    else
        value = ValueInLine();
    fclose(stream);
    return value != nullptr ? Trim(value) : defaultValue;
}

const char* ReadStringEx(const char* section, const char* key, const char* defaultValue) {
    if (section == nullptr || key == nullptr) {
        Log(kSource, "ReadStringEx", "param error.");
        return defaultValue;
    }
    FILE* stream = OpenSelectedFile();
    if (stream == nullptr) {
        Log(kSource, "ReadStringEx", "open file: %s failed, please check...\n", g_filename);
        return defaultValue;
    }
    const bool isFound = SectionExists(stream, section) && KeyExists(stream, key);
    fclose(stream);
    return isFound ? ValueInLine() : defaultValue;
}

int32_t ReadInteger(const char* section, const char* key, int32_t defaultValue) {
    if (section == nullptr || key == nullptr) {
        Log(kSource, "ReadInteger", "param error");
        return defaultValue;
    }
    // Kept: ReadString refuses a null default, so a value of
    // the file is never returned; callers get their default.
    if (ReadString(section, key, nullptr) == nullptr)  // GCOVR_EXCL_BR_LINE: it always is
        Log(kSource, "ReadInteger", "ReadString error");
    return defaultValue;
}

const char* GetInitKey(const char* /*unused*/, const char* section, const char* key) {
    if (section == nullptr || key == nullptr) {
        Log(kSource, "GetInitKey", "param error.");
        return nullptr;
    }
    return ReadString(section, key, "");
}

const char* GetKeyValue(const char* line) {
    if (line == nullptr) {
        Log(kSource, "GetKeyValue", "param error");
        return nullptr;
    }
    const char* equals = strchr(line, '=');
    return equals != nullptr ? equals + 1 : nullptr;
}

char* Trim(char* text) {
    if (text == nullptr) {
        Log(kSource, "Trim", "param error.");
        return nullptr;
    }
    while (*text == ' ') ++text;
    for (char* end = text + strlen(text); end > text && end[-1] == ' '; --end) end[-1] = '\0';
    return text;
}

char* ReadLine(FILE* stream) {
    if (stream == nullptr) {
        Log(kSource, "ReadLine", "param error");
        return nullptr;
    }
    g_last_line_offset = g_current_line_offset;
    const size_t oldLength = g_lineLength;
    g_lineLength = 0;
    while (feof(stream) == 0 && AppendPiece(stream)) {
    }
    g_current_line_offset = static_cast<int32_t>(ftell(stream));
    if (g_lineLength < oldLength) {  // so that everything after the line is zero
        const size_t rest = oldLength - g_lineLength;
        velmar::memset_s(g_linetext + g_lineLength, rest, 0, rest);
    }
    return g_linetext[0] != '\0' ? g_linetext : nullptr;
}

bool SectionExists(FILE* stream, const char* section) {
    if (stream == nullptr || section == nullptr) {
        Log(kSource, "SectionExists", "param error");
        return false;
    }
    char header[kHeaderSize];
    ComposeHeader(header, section);
    while (const char* line = ReadLine(stream))
        if (strstr(line, header) != nullptr) return true;
    Log(kSource, "SectionExists", "not found the section");
    return false;
}

bool KeyExists(FILE* stream, const char* key) {
    if (stream == nullptr || key == nullptr) {
        Log(kSource, "KeyExists", "param error");
        return false;
    }
    while (char* line = ReadLine(stream)) {
        // Kept: the key is looked for first, so a line with brackets that has it does not end the section.
        if (KeyExistsInLine(line, key)) return true;
        if (HasBrackets(line)) return false;
    }
    Log(kSource, "KeyExists", "not found the key");
    return false;
}

bool SectionExistsInLine(const char* line, const char* section) {
    if (line == nullptr || section == nullptr) {
        Log(kSource, "SectionExistsInLine", "param error.");
        return false;
    }
    char header[kHeaderSize];
    ComposeHeader(header, section);
    return strstr(line, header) != nullptr;
}

bool KeyExistsInLine(char* line, const char* key) {
    if (line == nullptr || key == nullptr) {
        Log(kSource, "KeyExistsInLine", "param error.");
        return false;
    }
    const char* trimmed = Trim(line);
    if (strstr(trimmed, key) == nullptr) return false;
    // Kept: counted from the start of the line, not from where
    // the key was found, so "path=/x/name" has the key "name".
    const char* after = trimmed + strlen(key);
    while (*after == ' ') ++after;
    // Kept: a line that ends there has the key, too, without a '='.
    return *after == '=' || *after == '\0';
}

#include "Common/Log.h"

#include <fcntl.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "velmar/velmar.h"

namespace {

char g_szlogFileName[1025];  // Kept: one byte more than the longest accepted path (1,023 characters) needs.
bool g_blogSystemInitSuccess = false;
FILE* g_stream = nullptr;
int32_t iCnt = 0;  // the number of the last line of this process, lost ones included

constexpr size_t kPathLimit = 1024;
constexpr size_t kLineSize = 2048;
constexpr long kFileSizeLimit = 10000001;  // bytes

// The part after the last '/'.
// Kept: a path without '/' loses its first character, so "INI" is shown as "NI".
const char* ShortName(const char* path) {
    size_t position = strlen(path);
    while (position > 1 && path[position - 1] != '/') --position;
    return path + position;
}

// Wraps around where a plain sum would overflow.
int32_t Sum(int32_t value, uint32_t more) {
    return static_cast<int32_t>(static_cast<uint32_t>(value) + more);
}

void ComposeLine(char* line, const char* file, const char* function, const char* message) {
    const time_t now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);  // on failure, the line shows whatever is in `local`
    velmar::snprintf_s(line, kLineSize, kLineSize - 1, "line %d===%d-%d-%d %d:%d:%d   %s:%s --- %s\n", iCnt,
                       Sum(local.tm_year, 1900), Sum(local.tm_mon, 1), local.tm_mday, local.tm_hour,
                       local.tm_min, local.tm_sec, file, function, message);
}

// Leaves g_stream null on failure. A command that the daemon runs must not inherit the log.
void OpenStream(const char* mode) {
    g_stream = fopen(g_szlogFileName, mode);
    if (g_stream != nullptr) fcntl(fileno(g_stream), F_SETFD, FD_CLOEXEC);
}

// Opens the stream if need be, moves to its end, and empties a file that has grown too large.
// Kept: only the seek pushes the previous line out of the stream's buffer, so the newest line is missing from
// the file until the next call or until the log is closed.
bool PrepareStream() {
    if (g_stream == nullptr) OpenStream("a+");
    if (g_stream == nullptr) return false;
    if (fseek(g_stream, 0, SEEK_END) == 0 && ftell(g_stream) >= kFileSizeLimit) {
        fclose(g_stream);
        OpenStream("w+");
    }
    return g_stream != nullptr;
}

// Kept: the line is written as if it were a format, so a doubled per cent sign becomes one. Other directives
// would ask for arguments that do not exist; they are written as they are.
void FoldDoubledPercent(char* line) {
    char* to = strchr(line, '%');
    if (to == nullptr) return;
    for (const char* from = to; *from != '\0'; *to++ = *from++)
        if (from[0] == '%' && from[1] == '%') ++from;
    *to = '\0';
}

}  // namespace

// Kept: an open stream stays open, so a new path counts only after the log was closed.
void InitLogSystem(const char* path) {
    g_blogSystemInitSuccess = path != nullptr && strlen(path) < kPathLimit;
    if (g_blogSystemInitSuccess)
        velmar::strncpy_s(g_szlogFileName, sizeof g_szlogFileName, path, sizeof g_szlogFileName - 1);
}

void CloseLogSystem() {
    if (g_stream != nullptr) fclose(g_stream);
    g_stream = nullptr;
    g_blogSystemInitSuccess = false;
}

void Log(const char* file, const char* function, const char* format, ...) {
    if (format == nullptr || function == nullptr || file == nullptr || !g_blogSystemInitSuccess) return;

    char message[kLineSize];
    va_list arguments;
    va_start(arguments, format);
    velmar::vsnprintf_s(message, kLineSize, kLineSize - 1, format, arguments);
    va_end(arguments);

    iCnt = Sum(iCnt, 1);
    char line[kLineSize];
    ComposeLine(line, ShortName(file), function, message);
    if (!PrepareStream()) return;
    FoldDoubledPercent(line);
    fputs(line, g_stream);
}

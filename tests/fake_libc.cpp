// The fakes of the C library's calls.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "fake.h"

using namespace fakes;
using std::to_string;

namespace {

// Counts a call on a stream, as Fails does, unless the stream is the log and the scene does not count it.
bool FailsOn(FILE* stream, const string& call) {
    const auto held = g_held.find(stream);
    const bool isLog = held != g_held.end() && held->second == kLogHeld;
    return isLog && !scene.countLog ? Done(false) : Fails(call);
}

// The path with one '/' for several, since systems differ in the length of a path that they take.
string Short(const string& path) {
    return std::filesystem::path(path).lexically_normal();
}

// Notes what the command would inherit, and does what the scene says. The answer's one status is that of this
// time.
Answer Run(const string& command) {
    const KeepError keep;
    for (const auto& [held, name] : g_held)
        if (name.rfind("stream ", 0) == 0 &&
            (fcntl(fileno(static_cast<FILE*>(const_cast<void*>(held))), F_GETFD) & FD_CLOEXEC) == 0)
            Note("* the command inherits", name);
    Answer answer = {"", {0}};
    for (Answer& known : scene.answers) {
        if (command.find(known.part) == string::npos) continue;
        answer = known;
        if (known.statuses.empty()) known.statuses = {0};
        answer.statuses = {known.statuses[std::min(known.given++, known.statuses.size() - 1)]};
        break;
    }
    const size_t to = command.find(" > ");
    if (to != string::npos) std::ofstream(command.substr(to + 3), std::ios::binary) << answer.output;
    if (command.rfind("rm -f ", 0) == 0) std::filesystem::remove(command.substr(6));
    return answer;
}

}  // namespace

FAKE(void*, malloc, size_t size) {
    scene.sizes.push_back(size);
    return Fails("malloc") ? nullptr : Hold(malloc(size), "block of " + to_string(size));
}

PLAIN_FAKE(void, free, (void* block), g_held.erase(block), free(block))

// ---- Files

FAKE(FILE*, fopen, const char* path, const char* mode) {
    const bool isLog = path == Path(kLog);
    if (!isLog) Note("* fopen", path, mode);
    if ((!isLog || scene.countLog) && Fails("fopen")) return nullptr;
    FILE* stream = fopen(Short(path).c_str(), mode);
    if (stream != nullptr && !isLog && scene.start > 0)
        fseeko(stream, static_cast<off_t>(scene.start), SEEK_SET);
    return stream != nullptr ? Done(Hold(stream, string("stream ") + path)) : nullptr;
}

FAKE(int, fclose, FILE* stream) {
    const bool fails = FailsOn(stream, "fclose");
    Drop(stream, "fclose");
    const int result = fclose(stream);
    return fails ? EOF : Done(result);
}

FAKE(char*, fgets, char* text, int size, FILE* stream) {
    if (FailsOn(stream, "fgets")) {
        memset(text, 'e', 1);  // an error may leave anything there
        return nullptr;
    }
    // Not all systems stay at the end of a file that has grown.
    return feof(stream) != 0 ? nullptr : Done(fgets(text, size, stream));
}
PLAIN_FAKE(size_t, fread, (void* to, size_t size, size_t count, FILE* stream),
           FailsOn(stream, "fread") ? 0 : Done(fread(to, size, count, stream)))
PLAIN_FAKE(int, fseek, (FILE * stream, long offset, int from),
           FailsOn(stream, "fseek") ? -1 : Done(fseek(stream, offset, from)))
PLAIN_FAKE(long, ftell, (FILE * stream), FailsOn(stream, "ftell") ? -1 : Done(ftell(stream)))
PLAIN_FAKE(int, fputc, (int character, FILE* stream),
           FailsOn(stream, "fputc") ? EOF : Done(fputc(character, stream)))

FAKE(int, fputs, const char* text, FILE* stream) {
    if (FailsOn(stream, "fputs")) return EOF;
    string line = text;  // the log's have a number and the time in front
    if (line.rfind("line ", 0) == 0) {
        line.erase(0, line.find("   ") + 3);
        if (line.back() == '\n') line.pop_back();
        NoteLine(line);
    }
    return Done(fputs(text, stream));
}

FAKE(DIR*, opendir, const char* path) {
    DIR* folder = Fails("opendir") ? nullptr : opendir(Short(path).c_str());
    Note("* opendir", path, folder != nullptr ? "yes" : "no");
    return Hold(folder, string("folder ") + path);
}

PLAIN_FAKE(int, closedir, (DIR * folder), g_held.erase(folder), Done(closedir(folder)))

// ---- Descriptors and signals

FAKE(int, fcntl, int descriptor, int command, ...) {
    va_list values;
    va_start(values, command);
    const int value = command == F_SETFD ? va_arg(values, int) : 0;
    va_end(values);
    if (descriptor > STDERR_FILENO) return Done(fcntl(descriptor, command, value));
    errno = EBADF;
    return scene.closed.count(descriptor) != 0 ? -1 : Done(0);
}

FAKE(int, open, const char* path, int flags, ...) {
    const int lowest = scene.closed.empty() ? 3 : *scene.closed.begin();
    scene.closed.erase(lowest);
    Note("* open", path, flags == O_RDWR ? "for both" : "for something else", "gives", lowest);
    return Done(lowest);
}

using Handler = void (*)(int);
FAKE(Handler, signal, int number, Handler handler) {
    const char* const name = number == SIGCHLD ? "SIGCHLD" : number == SIGXFSZ ? "SIGXFSZ" : "other";
    const char* const what = handler == SIG_DFL ? "default" : handler == SIG_IGN ? "ignored" : "handled";
    Note("* signal", name, what);
    return Done(SIG_DFL);
}

// ---- Commands

FAKE(FILE*, popen, const char* command, const char* mode) {
    Note("* popen", command, mode);
    if (Fails("popen")) return nullptr;
    const string output = Run(command).output;
    FILE* pipe = tmpfile();
    fwrite(output.data(), 1, output.size(), pipe);
    rewind(pipe);
    return Done(Hold(pipe, string("pipe ") + command));
}

PLAIN_FAKE(int, pclose, (FILE * pipe), Drop(pipe, "pclose"), Done(fclose(pipe)))

// A command that runs leaves the error number alone.
FAKE(int, system, const char* command) {
    const int before = errno;
    Note("* system", command);
    if (Fails("system")) return -1;
    const Answer answer = Run(command);
    errno = answer.error != 0 ? answer.error : before;
    return answer.statuses[0];
}

FAKE(unsigned, sleep, unsigned seconds) {
    Note("* sleep", seconds);
    for (; seconds > 0; --seconds) ++scene.slept, scene.onSecond();
    if (scene.slept > 100000) abort();  // a wait without end
    return Done(0u);
}

PLAIN_FAKE(pid_t, getpid, (), Fails("getpid") ? 0 : 4711)

// ---- Time and texts

FAKE(time_t, time, time_t* now) {
    if (now != nullptr) *now = scene.now;
    return Done(scene.now);
}

PLAIN_FAKE(tm*, localtime_r, (const time_t* now, tm* local), Done(scene.localTime(now, local)))

// As on a Mac, it may change the error number, and the next call changes its text.
FAKE(char*, strerror, int error) {
    static char text[32];
    snprintf(text, sizeof text, "error %d", error);
    return Done(+text);
}

extern "C" int fake_vsprintf_chk(char* buffer, int, size_t, const char* format, va_list values) {
    if (scene.written == 0) return vsnprintf(buffer, INT_MAX, format, values);
    std::fill_n(buffer, scene.written, '?');
    return scene.written;
}

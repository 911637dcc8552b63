#include "fakes.h"

#include <CoreFoundation/CoreFoundation.h>
#include <DiskArbitration/DiskArbitration.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/serial/IOSerialKeys.h>
#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <set>
#include <sstream>

#include "Common/Log.h"

using std::to_string;

extern "C" decltype(CFStringGetCString) __real_CFStringGetCString;
extern "C" const void* CFDictionaryGetValue(CFDictionaryRef, const void* key);

namespace fakes {

Scene scene;

namespace {

constexpr int kPid = 4711;
constexpr unsigned kIterator = 999;  // services are 1, 2, ...
const char kLog[] = "/usr/local/DatacardService/Zerbin.log";
const char kLogHeld[] = "stream " ZERBIN_ROOT "/usr/local/DatacardService/Zerbin.log";

bool g_inForce = false;
string g_happened;
std::map<const void*, string> g_held;  // and what each is
size_t g_nextPort = 0;
DADiskPeekCallback g_peek = nullptr;
DADiskMountCallback g_mounted = nullptr;
int g_things[4];  // only their addresses count
const auto g_session = reinterpret_cast<DASessionRef>(g_things);
const auto g_disk = reinterpret_cast<DADiskRef>(g_things + 1);
const auto g_runLoop = reinterpret_cast<CFRunLoopRef>(g_things + 2);
const auto g_dissenter = reinterpret_cast<DADissenterRef>(g_things + 3);
std::map<const void*, string> g_names = {
    {nullptr, "null"}, {g_session, "session"}, {g_disk, "disk"}, {g_runLoop, "loop"}};

// While the tests' own code runs inside a call.
struct Aside {
    bool inForce = std::exchange(g_inForce, false);
    int error = errno;
    ~Aside() { g_inForce = inForce, errno = error; }
};

string WithoutRoot(string text) {
    for (size_t at; (at = text.find(ZERBIN_ROOT)) != string::npos;) text.erase(at, sizeof ZERBIN_ROOT - 1);
    return text;
}

// An argument in print: a text, a number, or the name of what a pointer points to.
template <typename Value>
string Said(Value value) {
    char text[1024] = "?";
    if constexpr (std::is_arithmetic_v<Value>)
        return to_string(value);
    else if constexpr (std::is_same_v<Value, const char*>)
        return value;
    else if (g_names.count(value))
        return g_names[value];
    else if constexpr (std::is_same_v<Value, CFStringRef>)
        __real_CFStringGetCString(value, text, sizeof text, kCFStringEncodingUTF8);
    return text;
}

// Writes a call down.
template <typename... Values>
void Note(string call, Values... values) {
    const Aside aside;
    ((call += " " + Said(values)), ...);
    if (aside.inForce) g_happened += "* " + WithoutRoot(call) + "\n";
}

// Counts the call; whether it is one to fail. One that works changes the error number, as any call may.
bool Fails(const string& call) {
    if (!g_inForce) return false;
    const int n = ++scene.calls[call];
    const auto fault = scene.faults.find(call);
    const bool fails = fault != scene.faults.end() &&
                       (fault->second.second ? n >= fault->second.first : n == fault->second.first);
    errno = fails ? EIO : EDOM;
    return fails;
}

bool FailsOn(FILE* stream, const string& call) {
    const bool isLog = g_held.count(stream) && g_held[stream] == kLogHeld;
    if (!g_inForce || (isLog && !scene.countLog) || !Fails(call)) return false;
    if (call != "fseek" && call != "ftell") stream->_flags |= _IO_ERR_SEEN;
    return true;
}

template <typename Type>
Type* Hold(Type* held, const string& what) {
    if (held && g_inForce) g_held[held] = what;
    return held;
}

CFStringRef Property(const char* text) {
    if (!text) return nullptr;
    return Hold(CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8), string("property ") + text);
}

// What a dictionary has under a key. It is kept for life, as nobody releases it.
CFStringRef Entry(CFDictionaryRef dictionary, CFStringRef key) {
    static auto& kept = *new std::set<CFDictionaryRef>;
    if (!dictionary || !kept.insert(dictionary).second) return nullptr;
    return static_cast<CFStringRef>(CFDictionaryGetValue(dictionary, key));
}

// Notes the end of what is held; false for what is not known.
bool Drop(const void* held, const string& call) {
    const auto known = g_held.find(held);
    if (known == g_held.end()) return false;
    if (known->second != kLogHeld) Note(call + known->second.substr(known->second.find(' ')));
    g_held.erase(known);
    return true;
}

// Does what the scene says; the wait status.
int RunAnswered(const string& command, string* output) {
    const auto fits = [&](const Answer& answer) { return command.find(answer.part) != string::npos; };
    const auto answer = std::find_if(scene.answers.begin(), scene.answers.end(), fits);
    const bool isKnown = answer != scene.answers.end();
    if (isKnown) *output = answer->output;
    const size_t to = command.find(" > ");
    if (to != string::npos) std::ofstream(command.substr(to + 3), std::ios::binary) << *output;
    if (command.rfind("rm -f ", 0) == 0) std::filesystem::remove(command.substr(6));
    errno = isKnown ? answer->error : 0;
    if (!isKnown || answer->statuses.empty()) return 0;
    return answer->statuses[std::min(answer->given++, answer->statuses.size() - 1)];
}

}  // namespace

void Fail(const string& call, int n, bool forEver) {
    scene.faults[call] = {scene.calls[call] + n, forEver};
}

string Happened(const std::function<void()>& call) {
    g_happened.clear();
    g_inForce = true;
    call();
    g_inForce = false;
    return g_happened;
}

string TakeHeld() {
    std::multiset<string> held;
    for (const auto& [what, name] : std::map<const void*, string>(g_held)) {
        if (name == kLogHeld) continue;
        held.insert(WithoutRoot(name) + "\n");
        if (name.rfind("block", 0) == 0) free(const_cast<void*>(what));
        if (name.rfind("stream", 0) == 0) fclose(static_cast<FILE*>(const_cast<void*>(what)));
        g_held.erase(what);
    }
    return std::accumulate(held.begin(), held.end(), string());
}

void Arrive() {
    g_mounted = nullptr;
    g_peek(g_disk, nullptr);
    if (g_mounted) g_mounted(g_disk, scene.refuseMount ? g_dissenter : nullptr, nullptr);
}

string Path(const string& path) {
    return ZERBIN_ROOT + path;
}

void Write(const string& path, const string& content) {
    Remove(path);  // a file that is emptied instead would be written to the disk at once
    std::ofstream(Path(path), std::ios::binary) << content;
}

string Read(const string& path) {
    std::ostringstream content;
    content << std::ifstream(Path(path), std::ios::binary).rdbuf();
    return content.str();
}

string Lines(string text) {
    std::replace(text.begin(), text.end(), '|', '\n');
    std::replace(text.begin(), text.end(), '~', '\0');
    return text;
}

void MakeFolder(const string& path) {
    std::filesystem::create_directories(Path(path));
}

void Remove(const string& path) {
    std::filesystem::remove_all(Path(path));
}

string Shown(const string& text) {
    string shown;
    for (size_t at = 0, end; at < text.size(); at = end) {
        char byte[8];
        const int code = text[at] & 0xFF;
        snprintf(byte, sizeof byte, isprint(code) || code == '\n' ? "%c" : "\\x%02X", code);
        end = std::min(text.find_first_not_of(text[at], at), text.size());
        const bool isRun = end - at > 20;
        shown += byte + (isRun ? "{" + to_string(end - at) + "}" : "");
        if (!isRun) end = at + 1;
    }
    return shown;
}

void MakeMachine() {
    setenv("TZ", "UTC", 1);
    Remove(kLog);
    for (const char* folder : {"/Volumes", "/usr/local/DatacardService", "/Library/StartupItems/TovrikZerbin",
                               "/Applications/Pelluria.app/Contents/Resources"})
        MakeFolder(folder);
    scene = Scene();
}

void DaemonTest::Case(const string& name, const std::vector<string>& parts,
                      const std::function<void(Result)>& call) {
    InitLogSystem(Path(kLog).c_str());
    std::ostringstream result;
    string line, title = name;
    std::replace(title.begin(), title.end(), '\n', '|');
    record_ += "== " + title + "\n";
    for (std::istringstream happened(Happened([&] { call(result); })); std::getline(happened, line);) {
        const auto isInLine = [&](const string& part) { return line.find(part) != string::npos; };
        if (parts.empty() || std::any_of(parts.begin(), parts.end(), isInLine)) record_ += line + "\n";
    }
    record_ += "-> " + WithoutRoot(result.str()) + "\n" + TakeHeld();
    scene = Scene();
}

void DaemonTest::SetUp() {
    std::filesystem::current_path(std::filesystem::read_symlink("/proc/self/exe").parent_path());
    Remove("");
    MakeMachine();
}

void DaemonTest::TearDown() {
    CloseLogSystem();
    EXPECT_EQ(TakeHeld(), "");
    EXPECT_TRUE(std::exchange(g_held, {}).empty()) << "the log was opened twice";
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const string name = string(test->test_suite_name()) + "." + test->name() + ".log";
    std::ostringstream golden;
    golden << std::ifstream(GOLDEN + name, std::ios::binary).rdbuf();
    const string record = Shown(record_);
    EXPECT_EQ(golden.str(), record);
    std::filesystem::remove(name);
    if (golden.str() != record) std::ofstream(name, std::ios::binary) << record;
}

}  // namespace fakes

using namespace fakes;

// The two names by which the linker knows a call that is wrapped.
#define WRAP(Result, name, ...)   \
    decltype(name) __real_##name; \
    Result __wrap_##name(__VA_ARGS__)

// A call on a stream, and what it returns when it is made to fail.
#define WRAP_STREAM(Result, name, parameters, arguments, failed)          \
    decltype(name) __real_##name;                                         \
    Result __wrap_##name parameters {                                     \
        return FailsOn(stream, #name) ? failed : __real_##name arguments; \
    }

// A call that is written down, with its arguments, and what it returns; also when it is made to fail.
#define RECORD(Result, name, parameters, arguments, result, failed)   \
    decltype(name) __real_##name;                                     \
    Result __wrap_##name parameters {                                 \
        const auto note = [](auto... said) { Note(#name, said...); }; \
        note arguments;                                               \
        if (Fails(#name)) return failed;                              \
        return result;                                                \
    }

extern "C" {

// ---- The C library

WRAP(void*, malloc, size_t size) {
    if (!g_inForce) return __real_malloc(size);
    scene.sizes.push_back(size);
    return Fails("malloc") ? nullptr : Hold(__real_malloc(size), "block " + to_string(size));
}

WRAP(void, free, void* block) {
    if (g_inForce) g_held.erase(block);
    __real_free(block);
}

WRAP(FILE*, fopen, const char* path, const char* mode) {
    const bool isLog = path == Path(kLog);
    if (!isLog) Note("fopen", path, mode);
    const bool fails = (!isLog || scene.countLog) && Fails("fopen");
    return fails ? nullptr : Hold(__real_fopen(path, mode), string("stream ") + path);
}

WRAP(int, fclose, FILE* stream) {
    const bool fails = FailsOn(stream, "fclose");
    Drop(stream, "fclose");
    const int result = __real_fclose(stream);
    return fails ? EOF : result;
}

WRAP_STREAM(char*, fgets, (char* text, int size, FILE* stream), (text, size, stream), nullptr)
WRAP_STREAM(int, fgetc, (FILE * stream), (stream), EOF)
WRAP_STREAM(size_t, fread, (void* to, size_t size, size_t n, FILE* stream), (to, size, n, stream), 0)
WRAP_STREAM(int, fseek, (FILE * stream, long offset, int from), (stream, offset, from), -1)
WRAP_STREAM(long, ftell, (FILE * stream), (stream), -1)
WRAP_STREAM(int, fputc, (int character, FILE* stream), (character, stream), EOF)

WRAP(int, fputs, const char* text, FILE* stream) {
    if (FailsOn(stream, "fputs")) return EOF;
    const string line = text;  // the log's have a number and the time in front
    if (g_inForce && line.rfind("line ", 0) == 0)
        g_happened += WithoutRoot(line.substr(line.find("   ") + 3));
    return __real_fputs(text, stream);
}

WRAP(DIR*, opendir, const char* path) {
    DIR* folder = Fails("opendir") ? nullptr : __real_opendir(path);
    Note("opendir", path, folder ? "yes" : "no");
    return folder;
}

WRAP(FILE*, popen, const char* command, const char* mode) {
    Note("popen", command, mode);
    if (Fails("popen")) return nullptr;
    string output;
    RunAnswered(command, &output);
    FILE* pipe = tmpfile();
    fwrite(output.data(), 1, output.size(), pipe);
    rewind(pipe);
    return Hold(pipe, string("pipe ") + command);
}

WRAP(int, pclose, FILE* pipe) {
    Drop(pipe, "pclose");
    return __real_fclose(pipe);
}

WRAP(int, system, const char* command) {
    Note("system", command);
    string output;
    return Fails("system") ? -1 : RunAnswered(command, &output);
}

WRAP(unsigned, sleep, unsigned seconds) {
    Note("sleep", seconds);
    const Aside aside;
    for (; seconds > 0; --seconds) ++scene.slept, scene.onSecond();
    return 0;
}

WRAP(pid_t, getpid, void) {
    return Fails("getpid") ? 0 : g_inForce ? kPid : __real_getpid();
}

WRAP(time_t, time, time_t* now) {
    const time_t time = g_inForce ? scene.now : __real_time(nullptr);
    if (now) *now = time;
    return time;
}

// ---- The frameworks. Strings and dictionaries are the real ones.

WRAP(void, CFRelease, CFTypeRef object) {
    if (!Drop(object, "CFRelease")) Note("CFRelease", object);
    if (object) __real_CFRelease(object);
}

RECORD(Boolean, CFStringGetCString, (CFStringRef text, char* to, CFIndex size, CFStringEncoding encoding),
       (size, encoding), __real_CFStringGetCString(text, to, size, encoding), false)
RECORD(CFRunLoopRef, CFRunLoopGetCurrent, (), (), g_runLoop, nullptr)
RECORD(void, CFRunLoopRun, (), (), scene.onRunLoop(), void())
RECORD(DASessionRef, DASessionCreate, (CFAllocatorRef allocator), (allocator), g_session, nullptr)
RECORD(void, DASessionScheduleWithRunLoop, (DASessionRef session, CFRunLoopRef loop, CFStringRef mode),
       (session, loop, mode), void(), void())
RECORD(void, DARegisterDiskPeekCallback,
       (DASessionRef session, CFDictionaryRef match, CFIndex order, DADiskPeekCallback callback,
        void* context),
       (session, Entry(match, kDADiskDescriptionVolumeNameKey), order, context), void(g_peek = callback),
       void())
RECORD(DAReturn, DADiskSetOptions, (DADiskRef disk, DADiskOptions options, Boolean value),
       (disk, options, value), kDAReturnSuccess, -1)
RECORD(void, DADiskMountWithArguments,
       (DADiskRef disk, CFURLRef path, DADiskMountOptions options, DADiskMountCallback callback,
        void* context, CFStringRef arguments[]),
       (disk, path, options, context, arguments[0], arguments[1]), void(g_mounted = callback), void())
RECORD(CFMutableDictionaryRef, IOServiceMatching, (const char* className), (className),
       CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                 &kCFTypeDictionaryValueCallBacks),
       nullptr)
RECORD(kern_return_t, IOServiceGetMatchingServices,
       (mach_port_t port, CFDictionaryRef matching, io_iterator_t* list),
       (port, Entry(matching, CFSTR(kIOSerialBSDTypeKey))),
       (*list = kIterator, g_nextPort = 0, matching ? 0 : -1), -1)
RECORD(io_object_t, IOIteratorNext, (io_iterator_t iterator), (iterator),
       g_nextPort < scene.ports.size() ? static_cast<io_object_t>(++g_nextPort) : 0, 0)
RECORD(CFTypeRef, IORegistryEntryCreateCFProperty,
       (io_registry_entry_t service, CFStringRef key, CFAllocatorRef by, IOOptionBits options),
       (service, key, by, options), Property(scene.ports.at(service - 1)), nullptr)
RECORD(kern_return_t, IOObjectRelease, (io_object_t object), (object), 0, -1)

}  // extern "C"

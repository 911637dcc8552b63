#include "fakes.h"

#include <CoreFoundation/CoreFoundation.h>
#include <DiskArbitration/DiskArbitration.h>
#include <IOKit/IOKitLib.h>
#include <dirent.h>
#include <sys/types.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <set>
#include <sstream>
#include <utility>

#include "Common/Log.h"

using std::to_string;

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
std::vector<CFTypeRef> g_neverReleased;  // by the daemon
DADiskPeekCallback g_peek = nullptr;
DADiskMountCallback g_mounted = nullptr;
int g_session, g_disk, g_dissenter, g_runLoop;  // only their addresses count

// While the tests' own code runs inside a call.
struct Aside {
    bool inForce = std::exchange(g_inForce, false);
    int error = errno;
    ~Aside() {
        g_inForce = inForce;
        errno = error;
    }
};

string WithoutRoot(string text) {
    for (size_t at; (at = text.find(ZERBIN_ROOT)) != string::npos;) text.erase(at, sizeof ZERBIN_ROOT - 1);
    return text;
}

string WithoutNumberAndTime(const string& line) {
    const size_t end = line.find("   ");
    return line.rfind("line ", 0) == 0 && end != string::npos ? line.substr(end + 3) : line;
}

void Note(const string& call) {
    const Aside aside;
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

bool IsLog(FILE* stream) {
    const auto held = g_held.find(stream);
    return held != g_held.end() && held->second == kLogHeld;
}

bool FailsOn(FILE* stream, const string& call) {
    if (!g_inForce || (IsLog(stream) && !scene.countLog) || !Fails(call)) return false;
    if (call != "fseek" && call != "ftell") stream->_flags |= _IO_ERR_SEEN;
    return true;
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
    g_peek(reinterpret_cast<DADiskRef>(&g_disk), nullptr);
    const auto dissenter = reinterpret_cast<DADissenterRef>(scene.refuseMount ? &g_dissenter : nullptr);
    if (g_mounted) g_mounted(reinterpret_cast<DADiskRef>(&g_disk), dissenter, nullptr);
}

string Path(const string& path) {
    return ZERBIN_ROOT + path;
}

void Write(const string& path, const string& content) {
    std::ofstream(Path(path), std::ios::binary) << content;
}

string Read(const string& path) {
    std::ostringstream content;
    content << std::ifstream(Path(path), std::ios::binary).rdbuf();
    return content.str();
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
        snprintf(byte, sizeof byte, isprint(text[at] & 0xFF) || text[at] == '\n' ? "%c" : "\\x%02X",
                 text[at] & 0xFF);
        end = std::min(text.find_first_not_of(text[at], at), text.size());
        if (end - at > 20)
            shown += byte + ("{" + to_string(end - at) + "}");
        else
            end = at + 1, shown += byte;
    }
    return shown;
}

void DaemonTest::SetUp() {
    std::filesystem::current_path(std::filesystem::read_symlink("/proc/self/exe").parent_path());
    Remove("");
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

void DaemonTest::TearDown() {
    CloseLogSystem();
    EXPECT_EQ(TakeHeld(), "");
    EXPECT_TRUE(std::exchange(g_held, {}).empty()) << "the log was opened twice";
    for (CFTypeRef object : std::exchange(g_neverReleased, {})) CFRelease(object);
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const string name = string(test->test_suite_name()) + "." + test->name() + ".log";
    std::ifstream golden(GOLDEN + name, std::ios::binary);
    const string expected(std::istreambuf_iterator<char>(golden), {});
    const string record = Shown(record_);
    EXPECT_EQ(expected, record);
    std::filesystem::remove(name);
    if (record != expected) std::ofstream(name, std::ios::binary) << record;
}

}  // namespace fakes

using namespace fakes;

// The two names by which the linker knows a call that is wrapped.
#define WRAP(Result, name, ...)        \
    Result __real_##name(__VA_ARGS__); \
    Result __wrap_##name(__VA_ARGS__)

extern "C" {

// ---- The C library

WRAP(void*, malloc, size_t size) {
    if (!g_inForce) return __real_malloc(size);
    scene.sizes.push_back(size);
    void* block = Fails("malloc") ? nullptr : __real_malloc(size);
    if (block) g_held[block] = "block " + to_string(size);
    return block;
}

WRAP(void, free, void* block) {
    if (g_inForce) g_held.erase(block);
    __real_free(block);
}

WRAP(FILE*, fopen, const char* path, const char* mode) {
    const bool isLog = path == Path(kLog);
    if (!isLog) Note(string("fopen ") + path + " " + mode);
    FILE* stream = (!isLog || scene.countLog) && Fails("fopen") ? nullptr : __real_fopen(path, mode);
    if (stream && (isLog || g_inForce)) g_held[stream] = string("stream ") + path;
    return stream;
}

WRAP(int, fclose, FILE* stream) {
    const bool fails = FailsOn(stream, "fclose");
    Drop(stream, "fclose");
    const int result = __real_fclose(stream);
    return fails ? EOF : result;
}

// A call on a stream and what it returns when it was made to fail.
#define WRAP_STREAM(Result, name, failed, parameters, arguments)          \
    Result __real_##name parameters;                                      \
    Result __wrap_##name parameters {                                     \
        return FailsOn(stream, #name) ? failed : __real_##name arguments; \
    }

WRAP_STREAM(char*, fgets, nullptr, (char* text, int size, FILE* stream), (text, size, stream))
WRAP_STREAM(int, fgetc, EOF, (FILE * stream), (stream))
WRAP_STREAM(size_t, fread, 0, (void* to, size_t size, size_t n, FILE* stream), (to, size, n, stream))
WRAP_STREAM(int, fseek, -1, (FILE * stream, long offset, int from), (stream, offset, from))
WRAP_STREAM(long, ftell, -1, (FILE * stream), (stream))
WRAP_STREAM(int, fputc, EOF, (int character, FILE* stream), (character, stream))

WRAP(int, fputs, const char* text, FILE* stream) {
    if (FailsOn(stream, "fputs")) return EOF;
    if (g_inForce && IsLog(stream)) g_happened += WithoutRoot(WithoutNumberAndTime(text));
    return __real_fputs(text, stream);
}

WRAP(DIR*, opendir, const char* path) {
    DIR* folder = Fails("opendir") ? nullptr : __real_opendir(path);
    Note(string("opendir ") + path + (folder ? " yes" : " no"));
    if (folder && g_inForce) g_held[folder] = string("folder ") + path;
    return folder;
}

WRAP(int, closedir, DIR* folder) {
    g_held.erase(folder);
    return __real_closedir(folder);
}

WRAP(FILE*, popen, const char* command, const char* mode) {
    if (!g_inForce) return __real_popen(command, mode);
    Note(string("popen ") + command + " " + mode);
    if (Fails("popen")) return nullptr;
    string output;
    RunAnswered(command, &output);
    FILE* pipe = tmpfile();
    fwrite(output.data(), 1, output.size(), pipe);
    rewind(pipe);
    g_held[pipe] = string("pipe ") + command;
    return pipe;
}

WRAP(int, pclose, FILE* pipe) {
    return Drop(pipe, "pclose") ? __real_fclose(pipe) : __real_pclose(pipe);
}

WRAP(int, system, const char* command) {
    if (!g_inForce) return __real_system(command);
    Note(string("system ") + command);
    string output;
    return Fails("system") ? -1 : RunAnswered(command, &output);
}

WRAP(unsigned, sleep, unsigned seconds) {
    if (!g_inForce) return __real_sleep(seconds);
    Note("sleep " + to_string(seconds));
    const Aside aside;
    for (; seconds > 0; --seconds) {
        ++scene.slept;
        scene.onSecond();
    }
    return 0;
}

pid_t __real_getpid();
pid_t __wrap_getpid() {
    return Fails("getpid") ? 0 : g_inForce ? kPid : __real_getpid();
}

WRAP(time_t, time, time_t* now) {
    const time_t time = g_inForce ? scene.now : __real_time(nullptr);
    if (now) *now = time;
    return time;
}

// ---- The frameworks. Strings and dictionaries are the real ones.

WRAP(Boolean, CFStringGetCString, CFStringRef text, char* buffer, CFIndex size, CFStringEncoding encoding) {
    Note("CFStringGetCString " + to_string(size) + " " + to_string(encoding));
    return Fails("CFStringGetCString") ? false : __real_CFStringGetCString(text, buffer, size, encoding);
}

static string TextOf(CFTypeRef text) {
    char buffer[1024] = "?";
    __real_CFStringGetCString(static_cast<CFStringRef>(text), buffer, sizeof buffer, kCFStringEncodingUTF8);
    return buffer;
}

static string NameOf(const void* object) {
    if (!object) return " null";
    return object == &g_session   ? " session"
           : object == &g_disk    ? " disk"
           : object == &g_runLoop ? " loop"
                                  : " ?";
}

WRAP(void, CFRelease, CFTypeRef object) {
    if (!Drop(object, "CFRelease")) Note("CFRelease" + NameOf(object));
    if (object) __real_CFRelease(object);
}

WRAP(CFStringRef, CFStringCreateWithCString, CFAllocatorRef allocator, const char* text,
     CFStringEncoding encoding) {
    Note("CFStringCreateWithCString" + NameOf(allocator) + " " + text + " " + to_string(encoding));
    g_neverReleased.push_back(__real_CFStringCreateWithCString(allocator, text, encoding));
    return static_cast<CFStringRef>(g_neverReleased.back());
}

WRAP(CFMutableDictionaryRef, CFDictionaryCreateMutable, CFAllocatorRef allocator, CFIndex capacity,
     const CFDictionaryKeyCallBacks* keys, const CFDictionaryValueCallBacks* values) {
    const bool standard =
        keys == &kCFTypeDictionaryKeyCallBacks && values == &kCFTypeDictionaryValueCallBacks;
    Note("CFDictionaryCreateMutable" + NameOf(allocator) + " " + to_string(capacity) +
         (standard ? "" : " ?"));
    const auto dictionary = __real_CFDictionaryCreateMutable(allocator, capacity, keys, values);
    g_neverReleased.push_back(dictionary);
    return dictionary;
}

WRAP(void, CFDictionarySetValue, CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    Note("CFDictionarySetValue " + TextOf(key) + " " + TextOf(value));
    __real_CFDictionarySetValue(dictionary, key, value);
}

CFRunLoopRef __wrap_CFRunLoopGetCurrent() {
    return reinterpret_cast<CFRunLoopRef>(&g_runLoop);
}

void __wrap_CFRunLoopRun() {
    Note("CFRunLoopRun");
    scene.onRunLoop();
}

DASessionRef __wrap_DASessionCreate(CFAllocatorRef allocator) {
    Note("DASessionCreate" + NameOf(allocator));
    return Fails("DASessionCreate") ? nullptr : reinterpret_cast<DASessionRef>(&g_session);
}

void __wrap_DASessionScheduleWithRunLoop(DASessionRef session, CFRunLoopRef runLoop, CFStringRef mode) {
    Note("DASessionScheduleWithRunLoop" + NameOf(session) + NameOf(runLoop) + " " + TextOf(mode));
}

void __wrap_DARegisterDiskPeekCallback(DASessionRef session, CFDictionaryRef match, CFIndex order,
                                       DADiskPeekCallback callback, void* context) {
    const bool known = std::count(g_neverReleased.begin(), g_neverReleased.end(), match) > 0;
    Note("DARegisterDiskPeekCallback" + NameOf(session) + (known ? " dictionary " : " ? ") +
         to_string(order) + NameOf(context));
    g_peek = callback;
}

DAReturn __wrap_DADiskSetOptions(DADiskRef disk, DADiskOptions options, Boolean value) {
    Note("DADiskSetOptions" + NameOf(disk) + " " + to_string(options) + " " + to_string(value));
    return Fails("DADiskSetOptions") ? -1 : kDAReturnSuccess;
}

void __wrap_DADiskMountWithArguments(DADiskRef disk, CFURLRef path, DADiskMountOptions options,
                                     DADiskMountCallback callback, void* context, CFStringRef arguments[]) {
    string call =
        "DADiskMountWithArguments" + NameOf(disk) + NameOf(path) + " " + to_string(options) + NameOf(context);
    for (; *arguments; ++arguments) call += " " + TextOf(*arguments);
    Note(call);
    g_mounted = callback;
}

CFMutableDictionaryRef __wrap_IOServiceMatching(const char* className) {
    Note(string("IOServiceMatching ") + className);
    if (Fails("IOServiceMatching")) return nullptr;
    return __real_CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                            &kCFTypeDictionaryValueCallBacks);
}

kern_return_t __wrap_IOServiceGetMatchingServices(mach_port_t port, CFDictionaryRef matching,
                                                  io_iterator_t* list) {
    Note("IOServiceGetMatchingServices " + to_string(port) + (matching ? "" : " null"));
    if (matching) __real_CFRelease(matching);
    g_nextPort = 0;
    *list = kIterator;
    return Fails("IOServiceGetMatchingServices") || !matching ? -1 : 0;
}

io_object_t __wrap_IOIteratorNext(io_iterator_t) {
    return static_cast<io_object_t>(g_nextPort < scene.ports.size() ? ++g_nextPort : 0);
}

CFTypeRef __wrap_IORegistryEntryCreateCFProperty(io_registry_entry_t service, CFStringRef key,
                                                 CFAllocatorRef allocator, IOOptionBits options) {
    Note("IORegistryEntryCreateCFProperty " + to_string(service) + " " + TextOf(key) + NameOf(allocator) +
         " " + to_string(options));
    const char* path = scene.ports.at(service - 1);
    CFTypeRef property =
        path ? __real_CFStringCreateWithCString(nullptr, path, kCFStringEncodingUTF8) : nullptr;
    if (property) g_held[property] = string("property ") + path;
    return property;
}

kern_return_t __wrap_IOObjectRelease(io_object_t object) {
    Note("IOObjectRelease " + (object == kIterator ? "iterator" : to_string(object)));
    return 0;
}

}  // extern "C"

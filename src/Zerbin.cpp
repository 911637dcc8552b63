// The daemon's life, in the order in which it happens: main, what it looks for at the start, and then what
// the run loop calls. The messages are kept to the letter, misspellings, blanks and line ends included.
#include "src/Zerbin.h"

#include <IOKit/IOKitLib.h>
#include <IOKit/serial/IOSerialKeys.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "Common/INI.h"
#include "Common/Log.h"
#include "Common/Paths.h"
#include "src/ActiveVolumeProgram.h"
#include "src/Process.h"
#include "velmar/velmar.h"

CFStringRef gMountArgs[2];

namespace {

constexpr char kSource[] = "src/Zerbin";

constexpr char kModemPort[] = "TOVRIKMobile-Pcui";
constexpr char kDefaultLabel[] = "Pelluria";
constexpr size_t kLabelSize = 64;
constexpr int kPortProbes = 10;
constexpr unsigned kPortSeconds = 1;     // between two probes
constexpr int32_t kVolumeSeconds = 300;  // the longest wait for the volume of a modem that is already there

constexpr DADiskOptions kMountAutomaticOption =
    0x10;  // kDADiskOptionMountAutomatic, which no public header has

constexpr char kOwnerQuery[] = "ps aux | awk -v PID=%d '$2 == PID { print $1 }'";
constexpr char kFinderQuery[] = "ps -A | grep 'Finder[.]'";  // in brackets, so that grep does not find itself
constexpr size_t kLineSize = 256;      // the owner query; a user's name with its line end
constexpr size_t kConsoleSize = 1024;  // what the query for a Finder prints
constexpr size_t kPortSize = 1024;     // a path of the registry
constexpr size_t kCommandSize = 512;
constexpr unsigned kFinderSeconds = 5;  // between two queries
constexpr int kTries = 10;
constexpr char kOpenQuoted[] = "open \"";  // the head of the setup's commands

void LogMain(const char* message) {
    Log(kSource, "main", message);
}

void ReadLabel(char* label) {
    const char* value = kDefaultLabel;
    if (SetIniFileName(kConfigFile)) value = ReadString("Volumes", "name", kDefaultLabel);
    velmar::strncpy_s(label, kLabelSize, value, kLabelSize - 1);
}

bool WaitForPort() {
    for (int probe = 0; probe < kPortProbes; ++probe) {
        if (FindCommPort(kModemPort, nullptr, 0) == 0) return true;
        LogMain("wait to again to find comm port at beginning to run lorvan...");
        sleep(kPortSeconds);
    }
    return false;
}

// Serves a modem that was plugged in before the daemon started.
void ServePresentModem(const char* label) {
    char name[kLabelSize] = {};
    velmar::strncpy_s(name, sizeof name, label, sizeof name - 1);
    if (IsVolumeExist(name, kVolumesRoot, kVolumeSeconds)) {
        DiskMountCallback(nullptr, nullptr, nullptr);
        LogMain("finish run SDProgram at beginning to run lorvan");
    } else {
        // Names the default label whatever the configured one is. Kept on purpose.
        LogMain("can't find /Volumes/Pelluria, can't run firmware program and SDProgram");
    }
}

// Matches disks by the volume's name. Never released, like all that main creates.
CFDictionaryRef CreateMatch(const char* label) {
    CFMutableDictionaryRef match = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    // MacRoman, though the configuration may well be UTF-8. Kept.
    CFStringRef name = CFStringCreateWithCString(nullptr, label, kCFStringEncodingMacRoman);
    CFDictionarySetValue(match, kDADiskDescriptionVolumeNameKey, name);
    return match;  // NOLINT(clang-analyzer-osx.cocoa.RetainCount): nothing main creates is released
}

// Asks the setup file's scanner; the label comes from the same file by the other reader. Kept.
void ChooseMountArgument() {
    if (IsKeyValueCaseEqual(kConfigFile, "Volumes", "disable_cdrom", "true")) {
        gMountArgs[0] = CFSTR("nobrowse");
        LogMain("value of disable_cdrom is true");
    } else {
        gMountArgs[0] = CFSTR("rdonly");
        LogMain("value of disable_cdrom is false");
    }
}

}  // namespace

int main() {
    InitLogSystem(kLogFile);
    char label[kLabelSize] = {};
    DASessionRef session = DASessionCreate(kCFAllocatorDefault);
    LogMain("\n\n====================================Zerbin started===============================");
    LogMain("TOOL-MacLorvanV100R001B035");
    ReadLabel(label);

    LogMain("begin to run SDProgram at beginning to run lorvan");
    if (WaitForPort()) ServePresentModem(label);

    CFDictionaryRef match = CreateMatch(label);
    ChooseMountArgument();
    DASessionScheduleWithRunLoop(session, CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
    DARegisterDiskPeekCallback(session, match, 0, DiskPeekCallback, nullptr);
    CFRunLoopRun();

    CloseLogSystem();
    return 0;
}

// ---- The modem's serial port

namespace {

// The serial services of the registry; non-zero on failure. The query takes the dictionary over.
kern_return_t FindSerialServices(io_iterator_t* services) {
    CFMutableDictionaryRef match = IOServiceMatching(kIOSerialBSDServiceValue);
    if (match != nullptr)
        CFDictionarySetValue(match, CFSTR(kIOSerialBSDTypeKey), CFSTR(kIOSerialBSDAllTypes));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"  // older systems lack the new name
    return IOServiceGetMatchingServices(kIOMasterPortDefault, match, services);
#pragma GCC diagnostic pop
}

}  // namespace

int FindCommPort(const char* name, char* output, int size) {
    Log(kSource, "FindCommPort", "FindCommPort Enter");
    if (name == nullptr) {
        Log(kSource, "FindCommPort", "param error.");
        return -1;
    }
    io_iterator_t services = 0;
    if (FindSerialServices(&services) != 0) {
        Log(kSource, "FindCommPort", "IOServiceGetMatchingSerices failed, FindCommPort exit");
        return -1;
    }
    const bool isOutputWanted = output != nullptr && size > 0;
    char path[kPortSize] = {};
    while (io_object_t service = IOIteratorNext(services)) {
        CFTypeRef property =
            IORegistryEntryCreateCFProperty(service, CFSTR(kIOCalloutDeviceKey), kCFAllocatorDefault, 0);
        if (property == nullptr) {
            IOObjectRelease(service);
            continue;
        }
        const bool isConverted = CFStringGetCString(static_cast<CFStringRef>(property), path, sizeof path,
                                                    kCFStringEncodingUTF8) != 0;
        path[sizeof path - 1] = '\0';
        Log(kSource, "FindCommPort", "%s", path);
        if (isOutputWanted)
            velmar::strncpy_s(output, static_cast<size_t>(size), path, static_cast<size_t>(size) - 1);
        CFRelease(property);
        if (isConverted && strstr(path, name) != nullptr) {
            IOObjectRelease(services);  // but not the matching service; kept
            Log(kSource, "FindCommPort", "FindCommPort success, and exit");
            return 0;
        }
        IOObjectRelease(service);
    }
    IOObjectRelease(services);
    Log(kSource, "FindCommPort", "findCommPort failed, FindCommPort exit");
    return -1;
}

// ---- A modem arrives

void DiskPeekCallback(DADiskRef disk, void* /*context*/) {
    Log(kSource, "DiskPeekCallback", "DiskPeekCallback Enter");
    Log(kSource, "DiskPeekCallback", "----------------------Device inserted!---------------");
    if (DADiskSetOptions(disk, kMountAutomaticOption, false) != kDAReturnSuccess)
        Log(kSource, "DiskPeekCallback", "DADiskSetOptions failed!");
    DADiskMountWithArguments(disk, nullptr, kDADiskMountOptionDefault, DiskMountCallback, nullptr,
                             gMountArgs);
    Log(kSource, "DiskPeekCallback", "DiskPeekCallback exit");
}

namespace {

void LogMount(const char* message) {
    Log(kSource, "DiskMountCallback", message);
}

// The first line that `pipe` gives, line end kept, into kLineSize bytes. Logs `failure` when there is none,
// and closes the pipe.
void ReadFirstLine(FILE* pipe, char* line, const char* failure) {
    if (pipe == nullptr || fgets(line, kLineSize, pipe) == nullptr) LogMount(failure);
    if (pipe != nullptr) pclose(pipe);
}

// Whether the daemon runs as the user who owns the console.
bool OwnsConsole(pid_t pid) {
    char query[kLineSize] = {};
    char owner[kLineSize] = {};
    char consoleOwner[kLineSize] = {};
    velmar::snprintf_s(query, sizeof query, sizeof query - 1, kOwnerQuery, static_cast<int>(pid));
    Log(kSource, "DiskMountCallback", "%s", query);

    FILE* pipe = popen(query, "r");
    if (pipe == nullptr) {
        LogMount("create pipe failed!");
        return false;
    }
    ReadFirstLine(pipe, owner, "fgets pname failed!");
    // Unlike the first, a pipe that cannot be opened ends nothing here; kept.
    ReadFirstLine(popen(kConsoleOwnerQuery, "r"), consoleOwner, "fgets active failed!");

    const bool isOwner = strcmp(consoleOwner, owner) == 0;
    LogMount(isOwner ? "actvie == pname....." : "are not same return.....");
    return isOwner;
}

// Waits, without limit, until a Finder runs.
void WaitForFinder() {
    char output[kConsoleSize];
    for (;;) {
        velmar::memset_s(output, sizeof output, 0, sizeof output);
        const bool isAnswered = RunShellCmd(kFinderQuery, output, sizeof output);
        if (isAnswered && output[0] != '\0') return;
        LogMount(isAnswered ? "No fond Finder, not run board app" : "send cmd failed, not run board app");
        sleep(kFinderSeconds);
    }
}

// The path of the configured application in quotes, or the fixed command, which has none; kept so.
void ComposeLaunchCommand(char* command) {
    if (!SetIniFileName(kConfigFile)) {
        LogMount("Doesn't find ini file.");
        velmar::snprintf_s(command, kCommandSize, kCommandSize - 1, "open -a %s", kDefaultApplication);
        return;
    }
    LogMount("Current Mac OS version is newer than Mac OS X 10.4\n");  // which nobody has looked up; kept
    char application[kCommandSize] = {};
    velmar::strncpy_s(application, sizeof application, ReadString("Volumes", "path1", kDefaultApplication),
                      sizeof application - 1);
    velmar::strncpy_s(command, kCommandSize, "open -a \"", kCommandSize - 1);
    velmar::strncat_s(command, kCommandSize, application, kCommandSize - 1 - strlen(command));
    velmar::strncat_s(command, kCommandSize, "\"", kCommandSize - 1 - strlen(command));
}

}  // namespace

void DiskMountCallback(DADiskRef /*disk*/, DADissenterRef /*dissenter*/, void* /*context*/) {
    LogMount("DiskMountCallback Enter");
    const pid_t pid = getpid();
    if (pid != 0 && !OwnsConsole(pid)) return;  // no process has the number 0; kept

    WaitForFinder();
    LogMount("have some one login succ");

    char command[kCommandSize] = {};
    ComposeLaunchCommand(command);
    if (RunShellProgram(command, kTries))
        LogMount("Run Pelluria Program success");
    else
        LogMount("RunShellProgram failed, can't run Pelluria Program");
    DiskMountApproval();
    LogMount("DiskMountCallback exit");
}

int DiskMountApproval() {
    Log(kSource, "DiskMountApproval", "DiskMountApproval Enter");
    if (RunSDProgram(kSetupFile, kOpenQuoted, kVolumesRoot)) {
        Log(kSource, "DiskMountApproval", "finish run sd program, and successful, DiskMountApproval exit");
        return 0;
    }
    Log(kSource, "DiskMountApproval", "finish run program, and error, DiskMountApproval exit ");
    return -1;
}

// The daemon's life, in the order in which it happens: main, the search for a modem that is there already,
// and then what the run loop calls. All messages are kept to the letter, with their misspellings, blanks and
// line ends, because people and tools search the log for them.
#include "src/Zerbin.h"

#include <IOKit/IOKitLib.h>
#include <IOKit/serial/IOSerialKeys.h>
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
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
constexpr unsigned kPortSeconds = 1;          // between two probes
constexpr int32_t kModemVolumeSeconds = 300;  // the longest wait for the volume of a modem found at the start

constexpr DADiskOptions kMountAutomaticOption = 0x10;  // kDADiskOptionMountAutomatic is in no public header

constexpr char kOwnerQuery[] = "ps aux | awk -v PID=%d '$2 == PID { print $1 }'";
constexpr char kFinderQuery[] = "ps -A | grep 'Finder[.]'";  // brackets keep grep from finding itself
constexpr size_t kOwnerSize = 256;      // the owner query; an owner's name with its line end
constexpr size_t kFinderSize = 1024;    // what the query for a Finder prints
constexpr size_t kPortSize = 1024;      // a path of the registry
constexpr size_t kLaunchSize = 512;     // the application's path, and the command that launches it
constexpr unsigned kFinderSeconds = 5;  // between two queries
constexpr int kLaunchTries = 10;
constexpr char kOpenQuoted[] = "open \"";  // the head of the setup's commands

// Whatever starts the daemon decides which descriptors and signal settings it inherits. A file or
// pipe that the daemon opens must not land on a closed standard descriptor: its commands would
// then write into the wrong place, or start without a standard output. While SIGCHLD is ignored,
// `system` never learns how a command ended. SIGXFSZ would end the daemon where a limit on the
// size of files should only cost it lines of its log; commands inherit this setting.
void PutProcessInOrder() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) == -1) open(kNullDevice, O_RDWR);  // takes the lowest one that is free
    signal(SIGCHLD, SIG_DFL);
    signal(SIGXFSZ, SIG_IGN);
}

void ReadLabel(char* label) {
    const char* value = kDefaultLabel;
    if (SetIniFileName(kConfigFile)) value = ReadString("Volumes", "name", kDefaultLabel);
    velmar::strncpy_s(label, kLabelSize, value, kLabelSize - 1);
}

bool WaitForPort() {
    for (int probe = 0; probe < kPortProbes; ++probe) {
        if (FindCommPort(kModemPort, nullptr, 0) == 0) return true;
        Log(kSource, "main", "wait to again to find comm port at beginning to run lorvan...");
        sleep(kPortSeconds);
    }
    return false;
}

// Serves a modem that was plugged in before the daemon started.
void ServePresentModem(const char* label) {
    // Kept: the label is copied once more; the lookup never sees the buffer that the match is made from.
    char name[kLabelSize] = {};
    velmar::strncpy_s(name, sizeof name, label, sizeof name - 1);
    if (IsVolumeExist(name, kVolumesRoot, kModemVolumeSeconds)) {
        DiskMountCallback(nullptr, nullptr, nullptr);
        Log(kSource, "main", "finish run SDProgram at beginning to run lorvan");
    } else {
        // Kept: the message names the default label, whatever the configured one is.
        Log(kSource, "main", "can't find /Volumes/Pelluria, can't run firmware program and SDProgram");
    }
}

// Matches disks by the volume's name. Never released, like everything that main creates.
CFDictionaryRef CreateMatch(const char* label) {
    CFMutableDictionaryRef match = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    // Kept: MacRoman; a label with letters outside ASCII
    // matches only if the configuration is in MacRoman, too.
    CFStringRef name = CFStringCreateWithCString(nullptr, label, kCFStringEncodingMacRoman);
    CFDictionarySetValue(match, kDADiskDescriptionVolumeNameKey, name);
    return match;  // NOLINT(clang-analyzer-osx.cocoa.RetainCount): nothing main creates is released
}

// Kept: the setup file's scanner reads this key and the INI
// reader the label, from one file with different rules.
void ChooseMountArgument() {
    if (IsKeyValueCaseEqual(kConfigFile, "Volumes", "disable_cdrom", "true")) {
        gMountArgs[0] = CFSTR("nobrowse");
        Log(kSource, "main", "value of disable_cdrom is true");
    } else {
        gMountArgs[0] = CFSTR("rdonly");
        Log(kSource, "main", "value of disable_cdrom is false");
    }
}

}  // namespace

int main() {
    PutProcessInOrder();
    InitLogSystem(kLogFile);
    char label[kLabelSize] = {};
    DASessionRef session = DASessionCreate(kCFAllocatorDefault);
    Log(kSource, "main",
        "\n\n====================================Zerbin started===============================");
    Log(kSource, "main", "TOOL-MacLorvanV100R001B035");
    ReadLabel(label);

    Log(kSource, "main", "begin to run SDProgram at beginning to run lorvan");
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

// Lists the registry's serial services; non-zero on failure. The query consumes the dictionary.
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
        // Kept: the output gets every path, also those that do not match.
        if (isOutputWanted)
            velmar::strncpy_s(output, static_cast<size_t>(size), path, static_cast<size_t>(size) - 1);
        CFRelease(property);
        if (isConverted && strstr(path, name) != nullptr) {
            IOObjectRelease(services);  // Kept: the matching service itself is never released.
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

// Reads the first line that `pipe` gives, with its line end, into `line` (kOwnerSize
// bytes), and closes the pipe. Logs `failure` when there is no line; a null pipe has none.
void ReadFirstLine(FILE* pipe, char* line, const char* failure) {
    if (pipe == nullptr || fgets(line, kOwnerSize, pipe) == nullptr) {
        line[0] = '\0';  // an error in the middle of a line may have left a part of it
        Log(kSource, "DiskMountCallback", "%s", failure);
    }
    if (pipe != nullptr) pclose(pipe);
}

// Whether the daemon runs as the user who owns the console.
bool OwnsConsole(pid_t pid) {
    char query[kOwnerSize] = {};
    char owner[kOwnerSize] = {};
    char consoleOwner[kOwnerSize] = {};
    velmar::snprintf_s(query, sizeof query, sizeof query - 1, kOwnerQuery, static_cast<int>(pid));
    Log(kSource, "DiskMountCallback", "%s", query);

    FILE* pipe = popen(query, "r");
    if (pipe == nullptr) {
        Log(kSource, "DiskMountCallback", "create pipe failed!");
        return false;
    }
    ReadFirstLine(pipe, owner, "fgets pname failed!");
    // Kept: if the second pipe cannot be opened, the check goes on, with an empty owner of the console.
    ReadFirstLine(popen(kConsoleOwnerQuery, "r"), consoleOwner, "fgets active failed!");

    if (strcmp(consoleOwner, owner) != 0) {
        Log(kSource, "DiskMountCallback", "are not same return.....");
        return false;
    }
    Log(kSource, "DiskMountCallback", "actvie == pname.....");
    return true;
}

// Waits, without limit, until a Finder runs.
void WaitForFinder() {
    char output[kFinderSize];
    for (;;) {
        velmar::memset_s(output, sizeof output, 0, sizeof output);
        if (!RunShellCmd(kFinderQuery, output, sizeof output))
            Log(kSource, "DiskMountCallback", "send cmd failed, not run board app");
        else if (output[0] == '\0')
            Log(kSource, "DiskMountCallback", "No fond Finder, not run board app");
        else
            return;
        sleep(kFinderSeconds);
    }
}

// Kept: the configured application's path is quoted, that of the fixed command is not.
void ComposeLaunchCommand(char* command) {
    if (!SetIniFileName(kConfigFile)) {
        Log(kSource, "DiskMountCallback", "Doesn't find ini file.");
        velmar::snprintf_s(command, kLaunchSize, kLaunchSize - 1, "open -a %s", kDefaultApplication);
        return;
    }
    // Kept: no version is looked up; the message only says that there is a configuration.
    Log(kSource, "DiskMountCallback", "Current Mac OS version is newer than Mac OS X 10.4\n");
    char application[kLaunchSize] = {};
    velmar::strncpy_s(application, sizeof application, ReadString("Volumes", "path1", kDefaultApplication),
                      sizeof application - 1);
    velmar::strncpy_s(command, kLaunchSize, "open -a \"", kLaunchSize - 1);
    velmar::strncat_s(command, kLaunchSize, application, kLaunchSize - 1 - strlen(command));
    // Kept: a command that is cut at its limit gets no closing quote.
    velmar::strncat_s(command, kLaunchSize, "\"", kLaunchSize - 1 - strlen(command));
}

}  // namespace

void DiskMountCallback(DADiskRef /*disk*/, DADissenterRef /*dissenter*/, void* /*context*/) {
    Log(kSource, "DiskMountCallback", "DiskMountCallback Enter");
    const pid_t pid = getpid();
    // Kept: a process ID of 0, which a daemon never has, would skip the check.
    if (pid != 0 && !OwnsConsole(pid)) return;

    WaitForFinder();
    Log(kSource, "DiskMountCallback", "have some one login succ");

    char command[kLaunchSize] = {};
    ComposeLaunchCommand(command);
    if (RunShellProgram(command, kLaunchTries))
        Log(kSource, "DiskMountCallback", "Run Pelluria Program success");
    else
        Log(kSource, "DiskMountCallback", "RunShellProgram failed, can't run Pelluria Program");
    DiskMountApproval();
    Log(kSource, "DiskMountCallback", "DiskMountCallback exit");
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

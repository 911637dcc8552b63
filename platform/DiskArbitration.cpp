// Disks that come and go as folders of the desk, and their mounts, which are links in the folder of volumes.
#include <DiskArbitration/DiskArbitration.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "Desk.h"
#include "Object.h"
#include "RunLoop.h"

static const char kDisks[] = "desk/disks";
static const char kVolumes[] = "Volumes";
static const char kMountsLog[] = "desk/mounts.log";
static const char kUntitled[] = "Untitled";
// Locked for as long as disks are watched, so that others know whether a disk's arrival will be noticed.
static const char kWatchLock[] = "desk/watched";

constexpr DADiskOptions kMountAutomatic = 0x10;
constexpr DAReturn kRefused = static_cast<DAReturn>(0xF8DA0001);
constexpr DAReturn kBadArgument = static_cast<DAReturn>(0xF8DA0003);

struct __DASession {
    Object object;
    bool scheduled;
};

struct __DADisk {
    Object object;
    char bsdName[NAME_MAX + 1];
    CFStringRef label;  // null: the disk has none
    bool automatic;     // the system mounts it by itself
};

struct __DADissenter {
    DAReturn status;
};

struct PeekRequest {
    DASessionRef session;
    CFDictionaryRef match;
    CFIndex order;
    DADiskPeekCallback callback;
    void* context;
    PeekRequest* next;
};

struct MountRequest {
    DADiskRef disk;
    DADiskMountCallback callback;
    void* context;
    char how[kMaxText];
    MountRequest* next;
};

static PeekRequest* g_peeks;    // in the order in which they are called
static MountRequest* g_mounts;  // in the order in which they were made
static int g_watch = -1;        // tells of disks
static int g_wake = -1;         // tells the run loop of g_mounts

// NOLINTNEXTLINE(cert-err58-cpp): nothing here throws
const CFStringRef kDADiskDescriptionVolumeNameKey = CFSTR("DAVolumeName");

// ---- Disks

static void DestroyDisk(void* object) {
    DADiskRef disk = static_cast<DADiskRef>(object);
    if (disk->label) CFRelease(disk->label);
    free(disk);
}

// The text of the disk's file `name`; false when it has none.
static bool ReadOfDisk(const char* bsdName, const char* name, char (&text)[kMaxText]) {
    char path[kMaxPath];
    snprintf(path, sizeof path, "%s/%s/%s", kDisks, bsdName, name);
    return ReadOnDesk(path, text);
}

static DADiskRef CreateDisk(const char* bsdName) {
    DADiskRef disk = static_cast<DADiskRef>(CreateObject(sizeof(__DADisk), DestroyDisk));
    if (!disk) return nullptr;
    snprintf(disk->bsdName, sizeof disk->bsdName, "%s", bsdName);
    disk->automatic = true;
    char label[kMaxText];
    if (!ReadOfDisk(bsdName, "label", label) || !label[0]) return disk;
    disk->label = CFStringCreateWithCString(kCFAllocatorDefault, label, kCFStringEncodingUTF8);
    if (!disk->label)  // not UTF-8: a label of old
        disk->label = CFStringCreateWithCString(kCFAllocatorDefault, label, kCFStringEncodingMacRoman);
    return disk;
}

DAReturn DADiskSetOptions(DADiskRef disk, DADiskOptions options, Boolean value) {
    if (!disk) return kBadArgument;
    if (options & kMountAutomatic) disk->automatic = value;
    return kDAReturnSuccess;
}

// ---- Mounts

// What a link to something on the disk begins with, seen from the folder of volumes.
static void LinkPrefix(const char* bsdName, char (&prefix)[kMaxPath]) {
    snprintf(prefix, sizeof prefix, "../%s/%s/", kDisks, bsdName);
}

// The number of volumes that are mounted from the disk (its own, and those of images on it), or, for null,
// from disks that are gone; removes them if asked to.
static int CountMounts(const char* bsdName, bool unmount) {
    int folder = OpenOnDesk(kVolumes, O_RDONLY | O_DIRECTORY);
    DIR* volumes = folder < 0 ? nullptr : fdopendir(folder);
    if (!volumes) {
        if (folder >= 0) close(folder);
        return 0;
    }
    char prefix[kMaxPath], target[kMaxPath];
    if (bsdName)
        LinkPrefix(bsdName, prefix);
    else
        snprintf(prefix, sizeof prefix, "../%s/", kDisks);
    int count = 0;
    while (const dirent* entry = readdir(volumes)) {
        ssize_t length = readlinkat(folder, entry->d_name, target, sizeof target - 1);
        if (length < 0 || strncmp(target, prefix, strlen(prefix)) != 0) continue;
        if (!bsdName && faccessat(folder, entry->d_name, F_OK, 0) == 0) continue;
        ++count;
        if (unmount) unlinkat(folder, entry->d_name, 0);
    }
    closedir(volumes);
    return count;
}

// Notes "disk2 <what> <how>" as one line, whatever characters are in it.
static void NoteMount(const char* bsdName, const char* what, const char* how) {
    char line[2 * kMaxText];
    int length = snprintf(line, sizeof line - 1, "%s %s %s", bsdName, what, how);
    size_t end = length < 0 ? 0 : strlen(line);
    for (size_t i = 0; i < end; ++i)
        if (line[i] == '\n' || line[i] == '\r') line[i] = '?';
    line[end++] = '\n';
    int log = OpenOnDesk(kMountsLog, O_WRONLY | O_APPEND | O_CREAT);
    if (log < 0) return;
    if (write(log, line, end) < 0) { /* the note is lost, the mount is not */
    }
    close(log);
}

// The name under which the disk is mounted while nothing else has it. A slash is shown as a colon, as on a
// Mac.
static void VolumeName(DADiskRef disk, char (&name)[kMaxText]) {
    if (!disk->label || !CFStringGetCString(disk->label, name, sizeof name, kCFStringEncodingUTF8))
        snprintf(name, sizeof name, "%s", kUntitled);
    for (char* slash = name; (slash = strchr(slash, '/')) != nullptr;) *slash = ':';
}

// Links the first free one of "name", "name 1", "name 2", ...; that one is left in `name`.
static bool LinkVolume(DADiskRef disk, char (&name)[kMaxText]) {
    int folder = OpenOnDesk(kVolumes, O_RDONLY | O_DIRECTORY);
    if (folder < 0) return false;
    char prefix[kMaxPath], target[kMaxPath + sizeof "volume"];
    LinkPrefix(disk->bsdName, prefix);
    snprintf(target, sizeof target, "%svolume", prefix);
    size_t length = strlen(name);
    bool linked = symlinkat(target, folder, name) == 0;
    for (int number = 1; !linked && errno == EEXIST; ++number) {
        snprintf(name + length, sizeof name - length, " %d", number);
        linked = symlinkat(target, folder, name) == 0;
    }
    close(folder);
    return linked;
}

static bool HasFolder(const char* bsdName, const char* name) {
    char path[kMaxPath];
    snprintf(path, sizeof path, "%s/%s/%s", kDisks, bsdName, name);
    int folder = OpenOnDesk(path, O_RDONLY | O_DIRECTORY);
    if (folder >= 0) close(folder);
    return folder >= 0;
}

static bool IsMountable(const char* bsdName) {
    char text[kMaxText];
    return HasFolder(bsdName, "volume") && !ReadOfDisk(bsdName, "refuse", text) &&
           CountMounts(bsdName, false) == 0;
}

static bool MountDisk(DADiskRef disk, const char* how) {
    char name[kMaxText], what[kMaxText + sizeof kVolumes + sizeof "at //"];
    VolumeName(disk, name);
    bool mounted = IsMountable(disk->bsdName) && LinkVolume(disk, name);
    if (mounted)
        snprintf(what, sizeof what, "at /%s/%s", kVolumes, name);
    else
        snprintf(what, sizeof what, "refused");
    NoteMount(disk->bsdName, what, how);
    return mounted;
}

// "with nobrowse", or "with nobrowse,union", or "without arguments".
static void DescribeArguments(CFStringRef* arguments, char (&how)[kMaxText]) {
    snprintf(how, sizeof how, "without arguments");
    size_t end = 0;
    for (int i = 0; arguments && arguments[i] && end < sizeof how; ++i) {
        char argument[kMaxText] = "?";
        CFStringGetCString(arguments[i], argument, sizeof argument, kCFStringEncodingUTF8);
        int length = snprintf(how + end, sizeof how - end, "%s%s", i == 0 ? "with " : ",", argument);
        end += length < 0 ? 0 : static_cast<size_t>(length);
    }
}

void DADiskMountWithArguments(DADiskRef disk, CFURLRef, DADiskMountOptions, DADiskMountCallback callback,
                              void* context, CFStringRef arguments[]) {
    MountRequest* request = static_cast<MountRequest*>(calloc(1, sizeof(MountRequest)));
    if (!disk || !request) {
        free(request);
        return;
    }
    CFRetain(disk);
    *request = {disk, callback, context, "", nullptr};
    DescribeArguments(arguments, request->how);
    MountRequest** last = &g_mounts;
    while (*last) last = &(*last)->next;
    *last = request;
    eventfd_write(g_wake, 1);
}

static void ServeMountRequests() {
    eventfd_t requests;
    eventfd_read(g_wake, &requests);
    while (MountRequest* request = g_mounts) {
        g_mounts = request->next;
        __DADissenter dissenter = {kRefused};
        bool mounted = MountDisk(request->disk, request->how);
        if (request->callback)
            request->callback(request->disk, mounted ? nullptr : &dissenter, request->context);
        CFRelease(request->disk);
        free(request);
    }
}

// ---- Arrival and departure

// A volume name is all there is to know of a disk here.
static bool Matches(DADiskRef disk, CFDictionaryRef match) {
    if (!match || CFDictionaryGetCount(match) == 0) return true;
    CFTypeRef label = CFDictionaryGetValue(match, kDADiskDescriptionVolumeNameKey);
    return CFDictionaryGetCount(match) == 1 && label && disk->label && CFEqual(label, disk->label);
}

static void DiskAppeared(const char* bsdName) {
    if (CountMounts(bsdName, false) > 0) return;  // mounted before it was watched
    if (!HasFolder(bsdName, ".")) return;         // gone again, while a callback was busy
    DADiskRef disk = CreateDisk(bsdName);
    if (!disk) return;
    for (PeekRequest* peek = g_peeks; peek; peek = peek->next)
        if (peek->session->scheduled && Matches(disk, peek->match)) peek->callback(disk, peek->context);
    if (disk->automatic) MountDisk(disk, "automatically");
    CFRelease(disk);
}

static void ServeWatch() {
    alignas(inotify_event) char events[4096];
    ssize_t length = read(g_watch, events, sizeof events);
    for (ssize_t at = 0; at < length;) {
        const inotify_event* event = reinterpret_cast<const inotify_event*>(events + at);
        at += static_cast<ssize_t>(sizeof *event + event->len);
        if (event->len == 0 || !(event->mask & IN_ISDIR)) continue;
        if (event->mask & IN_MOVED_TO)
            DiskAppeared(event->name);
        else
            CountMounts(event->name, true);
    }
}

// The lock comes after the watch: whoever holds it meanwhile has plugged a disk in and mounts it himself, and
// its arrival, which the watch has seen, is passed over.
static void WatchDisks() {
    if (g_wake >= 0) return;
    g_wake = eventfd(g_mounts ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK);
    AddRunLoopSource(g_wake, ServeMountRequests);
    char path[kMaxPath];
    PathOnDesk(path, kDisks);
    g_watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    inotify_add_watch(g_watch, path, IN_MOVED_TO | IN_MOVED_FROM | IN_ONLYDIR);
    AddRunLoopSource(g_watch, ServeWatch);
    int lock = OpenOnDesk(kWatchLock, O_RDWR | O_CREAT);
    if (lock >= 0) flock(lock, LOCK_SH);
    CountMounts(nullptr, true);
}

// ---- Sessions

DASessionRef DASessionCreate(CFAllocatorRef) {
    return static_cast<DASessionRef>(CreateObject(sizeof(__DASession), free));
}

void DASessionScheduleWithRunLoop(DASessionRef session, CFRunLoopRef, CFStringRef) {
    if (!session) return;
    if (!session->scheduled) CFRetain(session);
    session->scheduled = true;
    WatchDisks();
}

void DARegisterDiskPeekCallback(DASessionRef session, CFDictionaryRef match, CFIndex order,
                                DADiskPeekCallback callback, void* context) {
    PeekRequest* peek = static_cast<PeekRequest*>(calloc(1, sizeof(PeekRequest)));
    if (!session || !callback || !peek) {
        free(peek);
        return;
    }
    CFRetain(session);
    if (match) CFRetain(match);
    PeekRequest** place = &g_peeks;
    while (*place && (*place)->order <= order) place = &(*place)->next;
    *peek = {session, match, order, callback, context, *place};
    *place = peek;
}

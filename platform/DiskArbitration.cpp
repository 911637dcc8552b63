// Disks, which are folders of the desk, and their mounts, which are links in the folder of volumes.
#include <DiskArbitration/DiskArbitration.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Desk.h"
#include "DiskWatch.h"
#include "Object.h"
#include "RunLoop.h"

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

namespace {

constexpr char kVolumes[] = "Volumes";
constexpr char kMountsLog[] = "desk/mounts.log";
constexpr char kUntitled[] = "Untitled";

constexpr DADiskOptions kMountAutomatic = 0x10;
constexpr auto kRefused = static_cast<DAReturn>(0xF8DA0001);
constexpr auto kDAReturnBadArgument = static_cast<DAReturn>(0xF8DA0003);

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

PeekRequest* g_peeks;    // in the order in which they are called
MountRequest* g_mounts;  // in the order in which they were made
int g_wake = -1;         // tells the run loop of g_mounts

}  // namespace

// NOLINTNEXTLINE(cert-err58-cpp): nothing here throws
const CFStringRef kDADiskDescriptionVolumeNameKey = CFSTR("DAVolumeName");

// ---- Disks

namespace {

void DestroyDisk(void* object) {
    auto* disk = static_cast<DADiskRef>(object);
    if (disk->label != nullptr) CFRelease(disk->label);
    free(disk);
}

// The text of the disk's file `name`; false when it has none.
bool ReadOfDisk(const char* bsdName, const char* name, char (&text)[kMaxText]) {
    char path[kMaxPath];
    snprintf(path, sizeof path, "%s/%s/%s", kDisks, bsdName, name);
    return ReadOnDesk(path, text);
}

DADiskRef CreateDisk(const char* bsdName) {
    auto* disk = static_cast<DADiskRef>(CreateObject(sizeof(__DADisk), DestroyDisk));
    if (disk == nullptr) return nullptr;
    snprintf(disk->bsdName, sizeof disk->bsdName, "%s", bsdName);
    disk->automatic = true;
    char label[kMaxText];
    if (!ReadOfDisk(bsdName, "label", label) || label[0] == '\0') return disk;
    disk->label = CFStringCreateWithCString(kCFAllocatorDefault, label, kCFStringEncodingUTF8);
    if (disk->label == nullptr)  // not UTF-8, so assume MacRoman
        disk->label = CFStringCreateWithCString(kCFAllocatorDefault, label, kCFStringEncodingMacRoman);
    return disk;
}

}  // namespace

DAReturn DADiskSetOptions(DADiskRef disk, DADiskOptions options, Boolean value) {
    if (disk == nullptr) return kDAReturnBadArgument;
    if ((options & kMountAutomatic) != 0) disk->automatic = value != 0;
    return kDAReturnSuccess;
}

// ---- Mounts

namespace {

// The start of every link target on this disk, relative to the folder of volumes.
void LinkPrefix(const char* bsdName, char (&prefix)[kMaxPath]) {
    snprintf(prefix, sizeof prefix, "../%s/%s/", kDisks, bsdName);
}

// Counts the volumes that are mounted from the disk (its own, and those of images on it), or, for null, from
// disks that are gone, and removes them if asked to.
int WalkMounts(const char* bsdName, bool unmount) {
    const int folder = OpenOnDesk(kVolumes, O_RDONLY | O_DIRECTORY);
    DIR* volumes = folder < 0 ? nullptr : fdopendir(folder);
    if (volumes == nullptr) {
        if (folder >= 0) close(folder);
        return 0;
    }
    char prefix[kMaxPath];
    char target[kMaxPath];
    if (bsdName != nullptr)
        LinkPrefix(bsdName, prefix);
    else
        snprintf(prefix, sizeof prefix, "../%s/", kDisks);
    int count = 0;
    while (const dirent* entry = readdir(volumes)) {
        const ssize_t length = readlinkat(folder, entry->d_name, target, sizeof target - 1);
        if (length < 0) continue;
        target[length] = '\0';
        if (strncmp(target, prefix, strlen(prefix)) != 0) continue;
        if (bsdName == nullptr && faccessat(folder, entry->d_name, F_OK, 0) == 0) continue;
        ++count;
        if (unmount) unlinkat(folder, entry->d_name, 0);
    }
    closedir(volumes);
    return count;
}

bool IsMounted(const char* bsdName) {
    return WalkMounts(bsdName, false) > 0;
}

void Unmount(const char* bsdName) {
    WalkMounts(bsdName, true);
}

// Records "disk2 <what> <how>" as one line, whatever characters are in it.
void NoteMount(const char* bsdName, const char* what, const char* how) {
    char line[2 * kMaxText];
    const int length = snprintf(line, sizeof line - 1, "%s %s %s", bsdName, what, how);
    size_t end = length < 0 ? 0 : strlen(line);
    for (size_t i = 0; i < end; ++i)
        if (line[i] == '\n' || line[i] == '\r') line[i] = '?';
    line[end++] = '\n';
    const int log = OpenOnDesk(kMountsLog, O_WRONLY | O_APPEND | O_CREAT);
    if (log < 0) return;
    if (write(log, line, end) < 0) { /* the note is lost, the mount is not */
    }
    close(log);
}

// The name under which the disk is mounted, unless it is taken. As on a Mac, a slash is shown as a colon.
void VolumeName(DADiskRef disk, char (&name)[kMaxText]) {
    if (disk->label == nullptr ||
        CFStringGetCString(disk->label, name, sizeof name, kCFStringEncodingUTF8) == 0)
        snprintf(name, sizeof name, "%s", kUntitled);
    for (char* slash = name; (slash = strchr(slash, '/')) != nullptr;) *slash = ':';
}

// Makes a link with the first free name of "name", "name 1", "name 2", ..., and stores that in `name`.
// desk/mount-volume does the same for volumes that are mounted without the daemon; change both.
bool LinkVolume(DADiskRef disk, char (&name)[kMaxText]) {
    const int folder = OpenOnDesk(kVolumes, O_RDONLY | O_DIRECTORY);
    if (folder < 0) return false;
    char prefix[kMaxPath];
    char target[kMaxPath + sizeof "volume"];
    LinkPrefix(disk->bsdName, prefix);
    snprintf(target, sizeof target, "%svolume", prefix);
    const size_t length = strlen(name);
    bool isLinked = symlinkat(target, folder, name) == 0;
    for (int number = 1; !isLinked && errno == EEXIST; ++number) {
        snprintf(name + length, sizeof name - length, " %d", number);
        isLinked = symlinkat(target, folder, name) == 0;
    }
    close(folder);
    return isLinked;
}

bool HasFolder(const char* bsdName, const char* name) {
    char path[kMaxPath];
    snprintf(path, sizeof path, "%s/%s/%s", kDisks, bsdName, name);
    const int folder = OpenOnDesk(path, O_RDONLY | O_DIRECTORY);
    if (folder >= 0) close(folder);
    return folder >= 0;
}

bool IsMountable(const char* bsdName) {
    char text[kMaxText];
    return HasFolder(bsdName, "volume") && !ReadOfDisk(bsdName, "refuse", text) && !IsMounted(bsdName);
}

bool MountDisk(DADiskRef disk, const char* how) {
    char name[kMaxText];
    char what[kMaxText + sizeof kVolumes + sizeof "at //"];
    VolumeName(disk, name);
    const bool isMounted = IsMountable(disk->bsdName) && LinkVolume(disk, name);
    if (isMounted)
        snprintf(what, sizeof what, "at /%s/%s", kVolumes, name);
    else
        snprintf(what, sizeof what, "refused");
    NoteMount(disk->bsdName, what, how);
    return isMounted;
}

// "with nobrowse", or "with nobrowse,union", or "without arguments".
void DescribeArguments(CFStringRef* arguments, char (&how)[kMaxText]) {
    snprintf(how, sizeof how, "without arguments");
    size_t end = 0;
    for (int i = 0; arguments != nullptr && arguments[i] != nullptr && end < sizeof how; ++i) {
        char argument[kMaxText] = "?";
        CFStringGetCString(arguments[i], argument, sizeof argument, kCFStringEncodingUTF8);
        const int length = snprintf(how + end, sizeof how - end, "%s%s", i == 0 ? "with " : ",", argument);
        end += length < 0 ? 0 : static_cast<size_t>(length);
    }
}

}  // namespace

void DADiskMountWithArguments(DADiskRef disk, CFURLRef /*path*/, DADiskMountOptions /*options*/,
                              DADiskMountCallback callback, void* context, CFStringRef arguments[]) {
    auto* request = static_cast<MountRequest*>(calloc(1, sizeof(MountRequest)));
    if (disk == nullptr || request == nullptr) {
        free(request);
        return;
    }
    CFRetain(disk);
    *request = {disk, callback, context, "", nullptr};
    DescribeArguments(arguments, request->how);
    MountRequest** last = &g_mounts;
    while (*last != nullptr) last = &(*last)->next;
    *last = request;
    eventfd_write(g_wake, 1);
}

namespace {

void ServeMountRequests() {
    eventfd_t requests;
    eventfd_read(g_wake, &requests);
    while (MountRequest* request = g_mounts) {
        g_mounts = request->next;
        const __DADissenter dissenter = {kRefused};
        const bool isMounted = MountDisk(request->disk, request->how);
        if (request->callback != nullptr)
            request->callback(request->disk, isMounted ? nullptr : &dissenter, request->context);
        CFRelease(request->disk);
        free(request);
    }
}

// ---- Arrival and departure

// Here the volume's name is a disk's only description.
bool Matches(DADiskRef disk, CFDictionaryRef match) {
    if (match == nullptr || CFDictionaryGetCount(match) == 0) return true;
    CFTypeRef label = CFDictionaryGetValue(match, kDADiskDescriptionVolumeNameKey);
    return CFDictionaryGetCount(match) == 1 && label != nullptr && disk->label != nullptr &&
           CFEqual(label, disk->label) != 0;
}

void DiskAppeared(const char* bsdName) {
    if (IsMounted(bsdName)) return;        // mounted before it was watched
    if (!HasFolder(bsdName, ".")) return;  // it left while a callback was busy
    DADiskRef disk = CreateDisk(bsdName);
    if (disk == nullptr) return;
    for (PeekRequest* peek = g_peeks; peek != nullptr; peek = peek->next)
        if (peek->session->scheduled && Matches(disk, peek->match)) peek->callback(disk, peek->context);
    if (disk->automatic) MountDisk(disk, "automatically");
    CFRelease(disk);
}

void DiskDisappeared(const char* bsdName) {
    Unmount(bsdName);
}

}  // namespace

// ---- Sessions

DASessionRef DASessionCreate(CFAllocatorRef /*allocator*/) {
    return static_cast<DASessionRef>(CreateObject(sizeof(__DASession), free));
}

void DASessionScheduleWithRunLoop(DASessionRef session, CFRunLoopRef /*runLoop*/, CFStringRef /*mode*/) {
    if (session == nullptr) return;
    if (!session->scheduled) CFRetain(session);
    session->scheduled = true;
    if (g_wake >= 0) return;
    g_wake = eventfd(g_mounts != nullptr ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK);
    AddRunLoopSource(g_wake, ServeMountRequests);
    WatchDisks(DiskAppeared, DiskDisappeared);
    Unmount(nullptr);
}

void DARegisterDiskPeekCallback(DASessionRef session, CFDictionaryRef match, CFIndex order,
                                DADiskPeekCallback callback, void* context) {
    auto* peek = static_cast<PeekRequest*>(calloc(1, sizeof(PeekRequest)));
    if (session == nullptr || callback == nullptr || peek == nullptr) {
        free(peek);
        return;
    }
    CFRetain(session);
    if (match != nullptr) CFRetain(match);
    PeekRequest** place = &g_peeks;
    while (*place != nullptr && (*place)->order <= order) place = &(*place)->next;
    *peek = {session, match, order, callback, context, *place};
    *place = peek;
}

#include "DiskWatch.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Desk.h"
#include "RunLoop.h"

namespace {

// Locked for as long as disks are watched, so that others know whether a disk's arrival will be noticed.
constexpr char kWatchLock[] = "desk/watched";

// A disk as it was when it was last seen. A move changes the time, which distinguishes a disk that has left and
// come back from one that has stayed. Any other change of its folder does so too, and counts as a move.
struct KnownDisk {
    char bsdName[NAME_MAX + 1];
    ino_t folder;
    timespec moved;
    KnownDisk* next;
};

KnownDisk* g_known;
int g_watch = -1;
void (*g_appeared)(const char* bsdName);
void (*g_disappeared)(const char* bsdName);

// ---- The disks that are known

// Null when there is no such disk, or no memory.
KnownDisk* LookAtDisk(const char* bsdName) {
    char name[kMaxPath];
    char path[kMaxPath];
    struct stat state = {};
    snprintf(name, sizeof name, "%s/%s", kDisks, bsdName);
    PathOnDesk(path, name);
    if (lstat(path, &state) != 0 || !S_ISDIR(state.st_mode)) return nullptr;
    auto* disk = static_cast<KnownDisk*>(calloc(1, sizeof(KnownDisk)));
    if (disk == nullptr) return nullptr;
    snprintf(disk->bsdName, sizeof disk->bsdName, "%s", bsdName);
    disk->folder = state.st_ino;
    disk->moved = state.st_ctim;
    return disk;
}

void Forget(const char* bsdName) {
    KnownDisk** place = &g_known;
    while (*place != nullptr && strcmp((*place)->bsdName, bsdName) != 0) place = &(*place)->next;
    KnownDisk* disk = *place;
    if (disk == nullptr) return;
    *place = disk->next;
    free(disk);
}

void Remember(const char* bsdName) {
    Forget(bsdName);
    KnownDisk* disk = LookAtDisk(bsdName);
    if (disk == nullptr) return;
    disk->next = g_known;
    g_known = disk;
}

void FreeDisks(KnownDisk* disks) {
    while (KnownDisk* disk = disks) {
        disks = disk->next;
        free(disk);
    }
}

bool HasDisk(const KnownDisk* disks, const KnownDisk& wanted) {
    for (; disks != nullptr; disks = disks->next)
        if (disks->folder == wanted.folder && disks->moved.tv_sec == wanted.moved.tv_sec &&
            disks->moved.tv_nsec == wanted.moved.tv_nsec && strcmp(disks->bsdName, wanted.bsdName) == 0)
            return true;
    return false;
}

// The disks that are there now, in the order of their names. False when the folder cannot be read.
bool ListDisks(KnownDisk** disks) {
    dirent** entries = nullptr;
    const int count = ListOnDesk(kDisks, nullptr, &entries);
    KnownDisk** end = disks;
    *end = nullptr;
    for (int i = 0; i < count; ++i) {
        const char* name = entries[i]->d_name;
        if (strcmp(name, ".") != 0 && strcmp(name, "..") != 0) *end = LookAtDisk(name);
        if (*end != nullptr) end = &(*end)->next;
        free(entries[i]);
    }
    free(entries);
    return count >= 0;
}

// ---- What happens to them

// Returns whether there were any.
bool DiscardEvents() {
    char events[4096];
    bool isAny = false;
    while (read(g_watch, events, sizeof events) > 0) isAny = true;
    return isAny;
}

// Reports what happened without an event. The folder is read until nothing happens in the meantime: what is
// found then is newer than every discarded event, and older than every event that is still to come.
void ReadDisksAnew() {
    KnownDisk* present = nullptr;
    do {
        FreeDisks(present);
        if (!ListDisks(&present)) return;
    } while (DiscardEvents());
    KnownDisk* before = g_known;
    g_known = present;
    for (const KnownDisk* disk = before; disk != nullptr; disk = disk->next)
        if (!HasDisk(present, *disk)) g_disappeared(disk->bsdName);
    for (const KnownDisk* disk = present; disk != nullptr; disk = disk->next)
        if (!HasDisk(before, *disk)) g_appeared(disk->bsdName);
    FreeDisks(before);
}

void ServeEvents() {
    alignas(inotify_event) char events[4096];
    const ssize_t length = read(g_watch, events, sizeof events);
    for (ssize_t at = 0; at < length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(events + at);
        at += static_cast<ssize_t>(sizeof *event + event->len);
        if ((event->mask & IN_Q_OVERFLOW) != 0) return ReadDisksAnew();
        if (event->len == 0 || (event->mask & IN_ISDIR) == 0) continue;
        if ((event->mask & IN_MOVED_TO) != 0) {
            Remember(event->name);
            g_appeared(event->name);
        } else {
            Forget(event->name);
            g_disappeared(event->name);
        }
    }
}

}  // namespace

void WatchDisks(void (*appeared)(const char* bsdName), void (*disappeared)(const char* bsdName)) {
    g_appeared = appeared;
    g_disappeared = disappeared;
    char path[kMaxPath];
    PathOnDesk(path, kDisks);
    g_watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    inotify_add_watch(g_watch, path, IN_MOVED_TO | IN_MOVED_FROM | IN_ONLYDIR);
    AddRunLoopSource(g_watch, ServeEvents);
    // Watch first, then lock: whoever holds the lock now mounts its own disk, and that arrival is skipped.
    const int lock = OpenOnDesk(kWatchLock, O_RDWR | O_CREAT);
    if (lock >= 0) flock(lock, LOCK_SH);
    ListDisks(&g_known);
}

// The run loop of the process's only thread: it sleeps until a source is ready, and wakes up for nothing else.
#include "RunLoop.h"

#include <CoreFoundation/CoreFoundation.h>
#include <poll.h>

#include <cerrno>

constexpr int kMaxSources = 8;
constexpr int kNoTimeout = -1;

struct __CFRunLoop {
    pollfd descriptors[kMaxSources];
    void (*serve[kMaxSources])();
    int count;
};

namespace {

__CFRunLoop g_runLoop;

extern "C" __attribute__((weak)) int __lsan_do_recoverable_leak_check();

// The address sanitizer, if built in, reports leaks when the process exits, but the daemon never does: it is
// killed. So leaks are looked for each time the run loop has nothing to do.
void ReportLeaks() {
    if (__lsan_do_recoverable_leak_check != nullptr) __lsan_do_recoverable_leak_check();
}

}  // namespace

void AddRunLoopSource(int descriptor, void (*serve)()) {
    if (g_runLoop.count == kMaxSources) return;
    g_runLoop.descriptors[g_runLoop.count] = {descriptor, POLLIN, 0};
    g_runLoop.serve[g_runLoop.count++] = serve;
}

CFRunLoopRef CFRunLoopGetCurrent() {
    return &g_runLoop;
}

void CFRunLoopRun() {
    while (g_runLoop.count > 0) {
        ReportLeaks();
        if (poll(g_runLoop.descriptors, static_cast<nfds_t>(g_runLoop.count), kNoTimeout) < 0) {
            if (errno == EINTR) continue;
            return;
        }
        for (int i = 0; i < g_runLoop.count; ++i)
            if (g_runLoop.descriptors[i].revents != 0) g_runLoop.serve[i]();
    }
}

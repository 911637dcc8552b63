// How the stand-ins do their work on the run loop.
#pragma once

// `serve` is called from CFRunLoopRun whenever `descriptor` is readable, and must drain it. At most eight sources are kept.
void AddRunLoopSource(int descriptor, void (*serve)());

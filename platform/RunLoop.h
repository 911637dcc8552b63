// How a stand-in gets its work done on the run loop.
#pragma once

// `serve` is called from CFRunLoopRun whenever `descriptor` is readable, and has to read it empty.
void AddRunLoopSource(int descriptor, void (*serve)());

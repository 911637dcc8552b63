// What every object of the stand-ins begins with, and the calls of CoreFoundation that only they make.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>

struct Object {
    long references;                // kImmortal: a constant, which is neither counted nor freed
    void (*destroy)(void* object);  // releases what the object holds and frees it
};

constexpr long kImmortal = -1;

// A zeroed object of `size` bytes with one reference; null when there is no memory.
void* CreateObject(size_t size, void (*destroy)(void* object));

extern "C" {
CFTypeRef CFRetain(CFTypeRef object);
Boolean CFEqual(CFTypeRef object1, CFTypeRef object2);  // strings by content, everything else by address
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);  // null: the key is not in it
}

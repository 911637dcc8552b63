// Stand-in for the framework's header: what the daemon uses of it, with the framework's names and signatures.
#pragma once

#include <cstdint>

typedef unsigned char Boolean;
typedef uint32_t UInt32;
typedef int32_t SInt32;

typedef long CFIndex;
typedef unsigned long CFHashCode;
typedef UInt32 CFStringEncoding;

// References. What a function with Create in its name returns is the caller's to release with CFRelease.
typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFURL* CFURLRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef struct __CFRunLoop* CFRunLoopRef;
typedef CFStringRef CFRunLoopMode;

enum : CFStringEncoding { kCFStringEncodingMacRoman = 0, kCFStringEncodingUTF8 = 0x08000100 };

extern "C" {

extern const CFAllocatorRef kCFAllocatorDefault;

// Releases one reference; releasing the last one frees the object. Crashes on null.
void CFRelease(CFTypeRef object);

// The constant string for a literal: never freed, one and the same object for equal literals.
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
CFStringRef __CFStringMakeConstantString(const char* text);

// Null when `text` is not valid in `encoding`.
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);

// True with the NUL-terminated text in `buffer`; false, with the buffer untouched, when it does not fit or
// cannot be written in `encoding`.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);

typedef const void* (*CFDictionaryRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFDictionaryEqualCallBack)(const void* value1, const void* value2);
typedef CFHashCode (*CFDictionaryHashCallBack)(const void* value);

typedef struct {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
    CFDictionaryHashCallBack hash;
} CFDictionaryKeyCallBacks;

typedef struct {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
} CFDictionaryValueCallBacks;

// For keys and values that are framework objects: retained while they are in, compared by content.
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

// Null callbacks stand for plain pointers: not retained, compared by address. `capacity` is only a hint.
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks);
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);

extern const CFRunLoopMode kCFRunLoopDefaultMode;

CFRunLoopRef CFRunLoopGetCurrent(void);

// Serves what was scheduled on the run loop, for ever; returns at once if nothing was.
void CFRunLoopRun(void);

}  // extern "C"

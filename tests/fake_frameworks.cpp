// The fakes of the frameworks' calls. CoreFoundation's strings and dictionaries are the real ones.
#include <CoreFoundation/CoreFoundation.h>
#include <DiskArbitration/DiskArbitration.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/serial/IOSerialKeys.h>

#include <cstring>
#include <set>

#include "fake.h"

extern "C" const void* CFDictionaryGetValue(CFDictionaryRef, const void* key);

using namespace fakes;
using std::to_string;

namespace {

constexpr unsigned kIterator = 999;  // services are 1, 2, ...

size_t g_nextPort = 0;
DADiskPeekCallback g_peek = nullptr;
DADiskMountCallback g_mounted = nullptr;
int g_things[3];  // only their addresses count
const auto g_session = reinterpret_cast<DASessionRef>(g_things);
const auto g_disk = reinterpret_cast<DADiskRef>(g_things + 1);
const auto g_dissenter = reinterpret_cast<DADissenterRef>(g_things + 2);

CFStringRef NewString(const string& text) {
    return CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
}

// The text that a dictionary has under a key, looked up by a copy of the key.
string Entry(CFDictionaryRef dictionary, CFStringRef key) {
    if (dictionary == nullptr) return "nothing";
    CFStringRef copy = NewString(Name(key));
    const string text = Name(CFDictionaryGetValue(dictionary, copy));
    CFRelease(copy);
    return text;
}

}  // namespace

string fakes::Name(const void* thing) {
    static const std::map<const void*, string> kNames = {
        {nullptr, "null"}, {g_session, "session"}, {g_disk, "disk"}, {CFRunLoopGetCurrent(), "loop"}};
    if (const auto known = kNames.find(thing); known != kNames.end()) return known->second;
    char text[1024] = "?";  // anything else is a string
    CFStringGetCString(static_cast<CFStringRef>(thing), text, sizeof text, kCFStringEncodingUTF8);
    return text;
}

void fakes::Arrive() {
    g_mounted = nullptr;
    g_peek(g_disk, nullptr);
    if (g_mounted != nullptr) g_mounted(g_disk, scene.refuseMount ? g_dissenter : nullptr, nullptr);
}

// ---- CoreFoundation

FAKE(void, CFRelease, CFTypeRef object) {
    if (!Drop(object, "CFRelease")) Note("* CFRelease", object);
    CFRelease(object);
}

// One that fails leaves the characters without their end.
FAKE(Boolean, CFStringGetCString, CFStringRef text, char* to, CFIndex size, CFStringEncoding encoding) {
    const bool isUtf8 = encoding == kCFStringEncodingUTF8;
    Note("* CFStringGetCString", size, isUtf8 ? "UTF-8" : "another encoding");
    if (!Fails("CFStringGetCString")) return CFStringGetCString(text, to, size, encoding);
    const string characters = Name(text);
    memcpy(to, characters.data(), characters.size());
    return false;
}

FAKE(CFMutableDictionaryRef, CFDictionaryCreateMutable, CFAllocatorRef by, CFIndex capacity,
     const CFDictionaryKeyCallBacks* keys, const CFDictionaryValueCallBacks* values) {
    static auto& kept = *new std::set<CFDictionaryRef>;  // for life, as nobody releases them
    Note("* CFDictionaryCreateMutable", by, capacity,
         keys == &kCFTypeDictionaryKeyCallBacks ? "objects as keys" : "plain keys",
         values == &kCFTypeDictionaryValueCallBacks ? "objects as values" : "plain values");
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(by, capacity, keys, values);
    kept.insert(dictionary);
    return dictionary;
}

PLAIN_FAKE(void, CFRunLoopRun, (), Note("* CFRunLoopRun"), scene.onRunLoop())

// ---- DiskArbitration

PLAIN_FAKE(DASessionRef, DASessionCreate, (CFAllocatorRef by), Note("* DASessionCreate", by), g_session)
PLAIN_FAKE(void, DASessionScheduleWithRunLoop, (DASessionRef session, CFRunLoopRef loop, CFStringRef mode),
           Note("* DASessionScheduleWithRunLoop", session, loop, mode))

FAKE(void, DARegisterDiskPeekCallback, DASessionRef session, CFDictionaryRef match, CFIndex order,
     DADiskPeekCallback callback, void* context) {
    Note("* DARegisterDiskPeekCallback", session, Entry(match, kDADiskDescriptionVolumeNameKey), order,
         context);
    g_peek = callback;
}

PLAIN_FAKE(DAReturn, DADiskSetOptions, (DADiskRef disk, DADiskOptions options, Boolean value),
           Note("* DADiskSetOptions", disk, options, value), Fails("DADiskSetOptions") ? -1 : 0)

FAKE(void, DADiskMountWithArguments, DADiskRef disk, CFURLRef path, DADiskMountOptions options,
     DADiskMountCallback callback, void* context, CFStringRef arguments[]) {
    Note("* DADiskMountWithArguments", disk, path, options, context, arguments[0], arguments[1]);
    g_mounted = callback;
}

// ---- IOKit

FAKE(CFMutableDictionaryRef, IOServiceMatching, const char* className) {
    Note("* IOServiceMatching", className);
    if (Fails("IOServiceMatching")) return nullptr;
    return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                     &kCFTypeDictionaryValueCallBacks);
}

// Consumes the dictionary.
FAKE(kern_return_t, IOServiceGetMatchingServices, mach_port_t port, CFDictionaryRef matching,
     io_iterator_t* list) {
    Note("* IOServiceGetMatchingServices", port, Entry(matching, CFSTR(kIOSerialBSDTypeKey)));
    if (matching != nullptr) CFRelease(matching);
    if (Fails("IOServiceGetMatchingServices") || matching == nullptr) return -1;
    *list = kIterator;
    g_nextPort = 0;
    return 0;
}

FAKE(io_object_t, IOIteratorNext, io_iterator_t iterator) {
    Note("* IOIteratorNext", iterator);
    if (Fails("IOIteratorNext") || g_nextPort >= scene.ports.size()) return 0;
    return static_cast<io_object_t>(++g_nextPort);
}

FAKE(CFTypeRef, IORegistryEntryCreateCFProperty, io_registry_entry_t service, CFStringRef key,
     CFAllocatorRef by, IOOptionBits options) {
    Note("* IORegistryEntryCreateCFProperty", service, key, by, options);
    if (Fails("IORegistryEntryCreateCFProperty")) return nullptr;
    const char* path = scene.ports.at(service - 1);
    return path != nullptr ? Hold(NewString(path), string("property ") + path) : nullptr;
}

PLAIN_FAKE(kern_return_t, IOObjectRelease, (io_object_t object),
           Note("* IOObjectRelease", object == kIterator ? "iterator" : to_string(object)),
           Fails("IOObjectRelease") ? -1 : 0)

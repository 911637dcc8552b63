// The I/O registry: serial services read from the desk's folder of ports.
#include <IOKit/IOKitLib.h>
#include <IOKit/serial/IOSerialKeys.h>
#include <dirent.h>

#include <cstdio>
#include <cstdlib>

#include "Desk.h"
#include "Object.h"

namespace {

#define kIOProviderClassKey "IOProviderClass"  // named as in the framework; CFSTR takes only a literal
constexpr char kPorts[] = "desk/ports";
constexpr auto kIOReturnBadArgument = static_cast<kern_return_t>(0xE00002C2);

// A service has a path or none; an iterator has the names of the ports still to come. Neither holds a descriptor.
struct RegistryObject {
    Object object;
    CFStringRef calloutPath;
    dirent** ports;
    int count, next;
};

// What an io_object_t stands for: its index here plus 1. A released one is free for the next object.
RegistryObject** g_objects;
unsigned g_objectCount;

}  // namespace

const mach_port_t kIOMasterPortDefault = 0;

// ---- Objects

namespace {

void DestroyRegistryObject(void* memory) {
    auto* object = static_cast<RegistryObject*>(memory);
    if (object->calloutPath != nullptr) CFRelease(object->calloutPath);
    for (int i = 0; i < object->count; ++i) free(object->ports[i]);
    free(object->ports);
    free(object);
}

io_object_t FindFreeSlot() {
    for (unsigned i = 0; i < g_objectCount; ++i)
        if (g_objects[i] == nullptr) return i + 1;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): it does hold pointers
    const size_t size = (g_objectCount + 1) * sizeof *g_objects;
    void* memory = realloc(g_objects, size);
    if (memory == nullptr) return 0;
    g_objects = static_cast<RegistryObject**>(memory);
    g_objects[g_objectCount] = nullptr;
    return ++g_objectCount;
}

// 0 when there is no memory.
io_object_t CreateRegistryObject(RegistryObject** object) {
    const io_object_t slot = FindFreeSlot();
    if (slot == 0) return 0;
    *object = static_cast<RegistryObject*>(CreateObject(sizeof(RegistryObject), DestroyRegistryObject));
    g_objects[slot - 1] = *object;
    return *object != nullptr ? slot : 0;
}

RegistryObject* FindObject(io_object_t object) {
    return object >= 1 && object <= g_objectCount ? g_objects[object - 1] : nullptr;
}

}  // namespace

kern_return_t IOObjectRelease(io_object_t object) {
    RegistryObject* known = FindObject(object);
    if (known == nullptr) return kIOReturnBadArgument;
    g_objects[object - 1] = nullptr;
    CFRelease(known);
    return 0;
}

// ---- Queries

namespace {

CFStringRef CreateText(const char* text) {
    return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

}  // namespace

CFMutableDictionaryRef IOServiceMatching(const char* className) {
    if (className == nullptr) return nullptr;
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFStringRef name = CreateText(className);
    if (dictionary != nullptr && name != nullptr)
        CFDictionarySetValue(dictionary, CFSTR(kIOProviderClassKey), name);
    if (name != nullptr) CFRelease(name);
    return dictionary;
}

namespace {

// Whether the serial services have every entry of `matching`, including the class.
bool MatchesSerialServices(CFDictionaryRef matching) {
    CFTypeRef providerClass = CFDictionaryGetValue(matching, CFSTR(kIOProviderClassKey));
    CFTypeRef type = CFDictionaryGetValue(matching, CFSTR(kIOSerialBSDTypeKey));
    if (providerClass == nullptr || CFEqual(providerClass, CFSTR(kIOSerialBSDServiceValue)) == 0)
        return false;
    if (type != nullptr && CFEqual(type, CFSTR(kIOSerialBSDAllTypes)) == 0) return false;
    return CFDictionaryGetCount(matching) == (type != nullptr ? 2 : 1);
}

int IsPort(const dirent* entry) {
    return entry->d_name[0] != '.';
}

}  // namespace

kern_return_t IOServiceGetMatchingServices(mach_port_t /*port*/, CFDictionaryRef matching,
                                           io_iterator_t* existing) {
    if (matching == nullptr) return kIOReturnBadArgument;
    const bool isSerial = MatchesSerialServices(matching);
    CFRelease(matching);
    RegistryObject* iterator;
    if (existing == nullptr || (*existing = CreateRegistryObject(&iterator)) == 0)
        return kIOReturnBadArgument;
    const int count = isSerial ? ListOnDesk(kPorts, IsPort, &iterator->ports) : 0;
    iterator->count = count > 0 ? count : 0;
    return 0;
}

io_object_t IOIteratorNext(io_iterator_t iterator) {
    RegistryObject* list = FindObject(iterator);
    if (list == nullptr || list->next == list->count) return 0;
    char name[kMaxPath], text[kMaxText];
    snprintf(name, sizeof name, "%s/%s", kPorts, list->ports[list->next++]->d_name);
    RegistryObject* service;
    const io_object_t object = CreateRegistryObject(&service);
    if (object != 0 && ReadOnDesk(name, text) && text[0] != '\0') service->calloutPath = CreateText(text);
    return object;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef /*allocator*/, IOOptionBits /*options*/) {
    const RegistryObject* service = FindObject(entry);
    if (service == nullptr || service->calloutPath == nullptr ||
        CFEqual(key, CFSTR(kIOCalloutDeviceKey)) == 0)
        return nullptr;
    return CFRetain(service->calloutPath);
}

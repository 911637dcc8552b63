// The I/O registry: serial services read from the desk's folder of ports.
#include <IOKit/IOKitLib.h>
#include <IOKit/serial/IOSerialKeys.h>
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "Desk.h"
#include "Object.h"

static const char kPorts[] = "desk/ports";
static const char kProviderClassKey[] = "IOProviderClass";
constexpr kern_return_t kBadArgument = static_cast<kern_return_t>(0xE00002C2);

// A service has a path or none; an iterator has names of ports still to come. Neither keeps a descriptor
// open.
struct RegistryObject {
    Object object;
    CFStringRef calloutPath;
    dirent** ports;
    int count, next;
};

// What an io_object_t stands for: its index here plus 1. A released one is free for the next object.
static RegistryObject** g_objects;
static unsigned g_objectCount;

const mach_port_t kIOMasterPortDefault = 0;

// ---- Objects

static void DestroyRegistryObject(void* memory) {
    RegistryObject* object = static_cast<RegistryObject*>(memory);
    if (object->calloutPath) CFRelease(object->calloutPath);
    for (int i = 0; i < object->count; ++i) free(object->ports[i]);
    free(object->ports);
    free(object);
}

static io_object_t FreeSlot() {
    for (unsigned i = 0; i < g_objectCount; ++i)
        if (!g_objects[i]) return i + 1;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): pointers are what it holds
    size_t size = (g_objectCount + 1) * sizeof *g_objects;
    void* memory = realloc(g_objects, size);
    if (!memory) return 0;
    g_objects = static_cast<RegistryObject**>(memory);
    g_objects[g_objectCount] = nullptr;
    return ++g_objectCount;
}

// 0 when there is no memory.
static io_object_t CreateRegistryObject(RegistryObject** object) {
    io_object_t slot = FreeSlot();
    if (slot == 0) return 0;
    *object = static_cast<RegistryObject*>(CreateObject(sizeof(RegistryObject), DestroyRegistryObject));
    g_objects[slot - 1] = *object;
    return *object ? slot : 0;
}

static RegistryObject* FindObject(io_object_t object) {
    return object >= 1 && object <= g_objectCount ? g_objects[object - 1] : nullptr;
}

kern_return_t IOObjectRelease(io_object_t object) {
    RegistryObject* known = FindObject(object);
    if (!known) return kBadArgument;
    g_objects[object - 1] = nullptr;
    CFRelease(known);
    return 0;
}

// ---- Queries

static CFStringRef CreateText(const char* text) {
    return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

// Adds an entry with values of its own.
static void SetText(CFMutableDictionaryRef dictionary, const char* key, const char* value) {
    CFStringRef keyText = CreateText(key), valueText = CreateText(value);
    if (keyText && valueText) CFDictionarySetValue(dictionary, keyText, valueText);
    if (keyText) CFRelease(keyText);
    if (valueText) CFRelease(valueText);
}

CFMutableDictionaryRef IOServiceMatching(const char* className) {
    if (!className) return nullptr;
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    if (dictionary) SetText(dictionary, kProviderClassKey, className);
    return dictionary;
}

// Whether every entry of `matching` is one that the serial services have, the class among them.
static bool MatchesSerialServices(CFDictionaryRef matching) {
    CFTypeRef providerClass = CFDictionaryGetValue(matching, CFSTR("IOProviderClass"));
    CFTypeRef type = CFDictionaryGetValue(matching, CFSTR(kIOSerialBSDTypeKey));
    if (!providerClass || !CFEqual(providerClass, CFSTR(kIOSerialBSDServiceValue))) return false;
    if (type && !CFEqual(type, CFSTR(kIOSerialBSDAllTypes))) return false;
    return CFDictionaryGetCount(matching) == (type ? 2 : 1);
}

static int IsPort(const dirent* entry) {
    return entry->d_name[0] != '.';
}

static void ListPorts(RegistryObject* iterator) {
    int folder = OpenOnDesk(kPorts, O_RDONLY | O_DIRECTORY);
    if (folder < 0) return;
    int count = scandirat(folder, ".", &iterator->ports, IsPort, alphasort);
    iterator->count = count > 0 ? count : 0;
    close(folder);
}

kern_return_t IOServiceGetMatchingServices(mach_port_t, CFDictionaryRef matching, io_iterator_t* existing) {
    if (!matching) return kBadArgument;
    bool serial = MatchesSerialServices(matching);
    CFRelease(matching);
    RegistryObject* iterator;
    if (!existing || (*existing = CreateRegistryObject(&iterator)) == 0) return kBadArgument;
    if (serial) ListPorts(iterator);
    return 0;
}

io_object_t IOIteratorNext(io_iterator_t iterator) {
    RegistryObject* list = FindObject(iterator);
    if (!list || list->next == list->count) return 0;
    char name[kMaxPath], text[kMaxText];
    snprintf(name, sizeof name, "%s/%s", kPorts, list->ports[list->next++]->d_name);
    RegistryObject* service;
    io_object_t object = CreateRegistryObject(&service);
    if (object && ReadOnDesk(name, text) && text[0]) service->calloutPath = CreateText(text);
    return object;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef,
                                          IOOptionBits) {
    RegistryObject* service = FindObject(entry);
    if (!service || !service->calloutPath || !CFEqual(key, CFSTR(kIOCalloutDeviceKey))) return nullptr;
    return CFRetain(service->calloutPath);
}

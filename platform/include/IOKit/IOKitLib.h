// Stand-in for the framework's header: what the daemon uses of it, with the framework's names and signatures.
//
// The registry holds serial services only: the files of <root>/desk/ports/, in the order of their names. A
// file's text is the service's callout path; an empty file is a service without one.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef unsigned int mach_port_t;
typedef int kern_return_t;
typedef mach_port_t io_object_t;
typedef io_object_t io_iterator_t;
typedef io_object_t io_service_t;
typedef io_object_t io_registry_entry_t;
typedef UInt32 IOOptionBits;

extern "C" {

extern const mach_port_t kIOMasterPortDefault;

// A dictionary that matches the services of a class; the caller's, until a query takes it over.
CFMutableDictionaryRef IOServiceMatching(const char* className);

// Gives an iterator over the services that match. Consumes one reference to `matching`, even on failure.
// Returns 0, or another value for a null dictionary.
kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching,
                                           io_iterator_t* existing);

// The next object, which is the caller's; 0 at the end.
io_object_t IOIteratorNext(io_iterator_t iterator);

// The caller's copy of a property, or null when the entry has none of that name.
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef allocator, IOOptionBits options);

// Non-zero when there is no such object.
kern_return_t IOObjectRelease(io_object_t object);

}  // extern "C"

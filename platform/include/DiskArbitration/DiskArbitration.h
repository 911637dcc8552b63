// Stand-in for the framework's header: what the daemon uses of it, with the framework's names and signatures.
//
// A disk is a folder <root>/desk/disks/<bsd name>/ with a file `label`, a folder `volume` and, when its mount
// is to be refused, a file `refuse`. It arrives when it is renamed into disks/ and leaves when it is renamed
// out. Its mount is a link in <root>/Volumes/, named after the label, with " 1", " 2", ... appended while
// that is taken.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef struct __DASession* DASessionRef;
typedef struct __DADisk* DADiskRef;
typedef const struct __DADissenter* DADissenterRef;

typedef SInt32 DAReturn;
typedef UInt32 DADiskOptions;
typedef UInt32 DADiskMountOptions;

enum : DAReturn { kDAReturnSuccess = 0 };
enum : DADiskMountOptions { kDADiskMountOptionDefault = 0 };

typedef void (*DADiskPeekCallback)(DADiskRef disk, void* context);
typedef void (*DADiskMountCallback)(DADiskRef disk, DADissenterRef dissenter, void* context);

extern "C" {

extern const CFStringRef kDADiskDescriptionVolumeNameKey;

DASessionRef DASessionCreate(CFAllocatorRef allocator);

// From now on disks are watched, and the session's callbacks run inside CFRunLoopRun. Disks that are already
// there count as known.
void DASessionScheduleWithRunLoop(DASessionRef session, CFRunLoopRef runLoop, CFStringRef mode);

// `callback` runs for each arriving disk that has everything that `match` names (null: each disk), in the
// order of `order`, then of registration; only afterwards is the disk mounted automatically, unless that was
// switched off.
void DARegisterDiskPeekCallback(DASessionRef session, CFDictionaryRef match, CFIndex order,
                                DADiskPeekCallback callback, void* context);

// Of the options only 0x10, the automatic mount, has an effect here. Non-zero for a null disk.
DAReturn DADiskSetOptions(DADiskRef disk, DADiskOptions options, Boolean value);

// Returns at once; the disk is mounted, and `callback` called, from the run loop. The dissenter is null when
// the mount succeeded. `path` must be null: the volume goes where volumes go. `arguments`, unless null, ends
// with null.
void DADiskMountWithArguments(DADiskRef disk, CFURLRef path, DADiskMountOptions options,
                              DADiskMountCallback callback, void* context, CFStringRef arguments[]);

}  // extern "C"

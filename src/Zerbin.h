// The daemon's entry point, its disk callbacks, and the
// search for the modem's serial port. Logs as "src/Zerbin".
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <DiskArbitration/DiskArbitration.h>

// Looks among the serial services of the I/O registry for one whose callout path contains `name` (case
// matters). Returns 0 when there is one, -1 otherwise. `output` (capacity `size` bytes), if not null and size
// > 0, receives each examined path in turn, cut to size - 1 bytes; the last one stays. Logs "FindCommPort
// Enter", each path, and how it ended.
int FindCommPort(const char* name, char* output, int size);

// A disk with the modem's label arrives: switches the system's automatic mount off for it and requests a
// mount with gMountArgs, which ends in DiskMountCallback. `context` is ignored. Logs, between
// "DiskPeekCallback Enter" and "DiskPeekCallback exit", "DADiskSetOptions failed!" when that failed; the
// mount is requested all the same.
void DiskPeekCallback(DADiskRef disk, void* context);

// Called when the modem's volume has been mounted or its mount refused; ignores its arguments. If the daemon
// runs as the console's owner, waits without limit for a Finder, launches the companion application and calls
// DiskMountApproval. Logs each step between "DiskMountCallback Enter" and "DiskMountCallback exit"; ends
// early, and without the latter, after "create pipe failed!" or "are not same return.....".
void DiskMountCallback(DADiskRef disk, DADissenterRef dissenter, void* context);

// Runs the third-party setup, if one is pending. Returns 0 when it ran, -1 otherwise. Logs "DiskMountApproval
// Enter" and one message for either result.
int DiskMountApproval();

// The mount's arguments, null-terminated: { "nobrowse" or
// "rdonly", null }, both null until main sets the first.
extern CFStringRef gMountArgs[2];

// The compiler includes this before each source of the daemon under test. It gives every call that the tests
// replace the name of its fake. The system's headers come first, so that only the daemon's own calls change.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <DiskArbitration/DiskArbitration.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/serial/IOSerialKeys.h>
#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwchar>

// clang-format off
#define SEAM(name) extern "C" decltype(name) fake_##name;
SEAM(malloc) SEAM(free) SEAM(system) SEAM(sleep) SEAM(getpid) SEAM(signal) SEAM(open) SEAM(fcntl)
SEAM(fopen) SEAM(fclose) SEAM(fgets) SEAM(fread) SEAM(fseek) SEAM(ftell) SEAM(fputs) SEAM(fputc)
SEAM(opendir) SEAM(closedir) SEAM(popen) SEAM(pclose) SEAM(time) SEAM(localtime_r) SEAM(strerror)
SEAM(CFRelease) SEAM(CFStringGetCString) SEAM(CFDictionaryCreateMutable)
SEAM(CFRunLoopGetCurrent) SEAM(CFRunLoopRun)
SEAM(DASessionCreate) SEAM(DASessionScheduleWithRunLoop) SEAM(DARegisterDiskPeekCallback)
SEAM(DADiskSetOptions) SEAM(DADiskMountWithArguments)
SEAM(IOServiceMatching) SEAM(IOServiceGetMatchingServices) SEAM(IOIteratorNext)
SEAM(IORegistryEntryCreateCFProperty) SEAM(IOObjectRelease)
// clang-format on

#define malloc fake_malloc
#define free fake_free
#define system fake_system
#define sleep fake_sleep
#define getpid fake_getpid
#define signal fake_signal
#define open fake_open
#define fcntl fake_fcntl
#define fopen fake_fopen
#define fclose fake_fclose
#define fgets fake_fgets
#define fread fake_fread
#define fseek fake_fseek
#define ftell fake_ftell
#define fputs fake_fputs
#define fputc fake_fputc
#define opendir fake_opendir
#define closedir fake_closedir
#define popen fake_popen
#define pclose fake_pclose
#define time fake_time
#define localtime_r fake_localtime_r
#define strerror fake_strerror
#define __vsprintf_chk fake_vsprintf_chk  // no header declares it; the formatter does
#define CFRelease fake_CFRelease
#define CFStringGetCString fake_CFStringGetCString
#define CFDictionaryCreateMutable fake_CFDictionaryCreateMutable
#define CFRunLoopGetCurrent fake_CFRunLoopGetCurrent
#define CFRunLoopRun fake_CFRunLoopRun
#define DASessionCreate fake_DASessionCreate
#define DASessionScheduleWithRunLoop fake_DASessionScheduleWithRunLoop
#define DARegisterDiskPeekCallback fake_DARegisterDiskPeekCallback
#define DADiskSetOptions fake_DADiskSetOptions
#define DADiskMountWithArguments fake_DADiskMountWithArguments
#define IOServiceMatching fake_IOServiceMatching
#define IOServiceGetMatchingServices fake_IOServiceGetMatchingServices
#define IOIteratorNext fake_IOIteratorNext
#define IORegistryEntryCreateCFProperty fake_IORegistryEntryCreateCFProperty
#define IOObjectRelease fake_IOObjectRelease

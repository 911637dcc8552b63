// The compiler includes this before each source of the daemon under test. It gives every call that the tests
// replace the name of its fake: fopen becomes fake_fopen. The system's headers come first, so that only the
// daemon's own calls change.
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

#include "replaced.h"  // from the list in CMakeLists.txt

// The compiler includes this before each source of the daemon under test. It gives every call that the tests
// replace the name of its fake: fopen becomes fake_fopen. The headers that declare them come first, so that only
// the daemon's own calls change.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <DiskArbitration/DiskArbitration.h>
#include <IOKit/IOKitLib.h>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "replaced.h"  // from the list in CMakeLists.txt

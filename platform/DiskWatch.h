// Disks that come and go: folders that are renamed into the desk's folder of disks, and out of it.
#pragma once

constexpr char kDisks[] = "desk/disks";

// Starts watching: from now on the run loop calls `appeared` or `disappeared` for each disk that comes or
// goes, in the order in which it happened. When too much happened at once for the system to keep track, the folder is read again,
// and the disks that have gone are reported first, then those that have come, in the order of their names.
// Disks that are there already count as known.
void WatchDisks(void (*appeared)(const char* bsdName), void (*disappeared)(const char* bsdName));

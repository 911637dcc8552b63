// Arriving and leaving disks: folders that are renamed into the desk's folder of disks, and out of it.
#pragma once

constexpr char kDisks[] = "desk/disks";

// Starts watching: from now on the run loop calls `appeared` or `disappeared` for each disk that arrives or
// leaves, in that order. When too much happens at once for the system's queue, the folder is read again; the
// disks that have left are then reported first, then those that have arrived, in the order of their names.
// Disks that are there already count as known.
void WatchDisks(void (*appeared)(const char* bsdName), void (*disappeared)(const char* bsdName));

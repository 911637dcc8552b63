// Files of the desk, named relative to its root.
#pragma once

#include <dirent.h>

#include <cstddef>

// Room for a path below the root, and for the text of a file of the desk.
constexpr size_t kMaxPath = 4096;
constexpr size_t kMaxText = 4096;

// Writes the path of `relative`; one that is too long becomes empty, which names no file.
void PathOnDesk(char (&path)[kMaxPath], const char* relative);

// Opens with `flags`, close-on-exec; with O_CREAT, a new file has mode 0666. -1 on failure.
int OpenOnDesk(const char* relative, int flags);

// Reads the first kMaxText - 1 bytes of a file, without one line feed at the end. False on failure.
bool ReadOnDesk(const char* relative, char (&text)[kMaxText]);

// The entries of a folder for which `isWanted` is not 0 (null: all), in the order of their names. Returns how
// many there are, or -1 on failure; the caller frees each of them, and the array.
int ListOnDesk(const char* relative, int (*isWanted)(const dirent* entry), dirent*** entries);

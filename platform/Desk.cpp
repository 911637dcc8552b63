#include "Desk.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

void PathOnDesk(char (&path)[kMaxPath], const char* relative) {
    const int length = snprintf(path, sizeof path, "%s/%s", ZERBIN_ROOT, relative);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) path[0] = '\0';
}

int OpenOnDesk(const char* relative, int flags) {
    char path[kMaxPath];
    PathOnDesk(path, relative);
    return open(path, flags | O_CLOEXEC, 0666);
}

bool ReadOnDesk(const char* relative, char (&text)[kMaxText]) {
    const int file = OpenOnDesk(relative, O_RDONLY);
    if (file < 0) return false;
    ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    if (length < 0) return false;
    if (length > 0 && text[length - 1] == '\n') --length;
    text[length] = '\0';
    return true;
}

int ListOnDesk(const char* relative, int (*isWanted)(const dirent* entry), dirent*** entries) {
    const int folder = OpenOnDesk(relative, O_RDONLY | O_DIRECTORY);
    if (folder < 0) return -1;
    const int count = scandirat(folder, ".", entries, isWanted, alphasort);
    close(folder);
    return count;
}

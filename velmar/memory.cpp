// The bounded fill, copy and append functions.
#include <cstdint>
#include <cstring>

#include "velmar/velmar.h"

namespace velmar {
namespace {

// One comparison refuses both 0 and everything above the limit, which is the same for all functions.
static_assert(MEM_MAX_LEN == STRING_MAX_LEN);
bool capacity_is_invalid(size_t destMax) {
    return destMax - 1 > STRING_MAX_LEN - 1;
}

// Either both lengths are 0, or neither is.
bool ranges_are_disjoint(const void* first, size_t firstLength, const void* second, size_t secondLength) {
    const auto a = reinterpret_cast<uintptr_t>(first);
    const auto b = reinterpret_cast<uintptr_t>(second);
    return a < b ? b - a >= firstLength : a - b >= secondLength;
}

int reset_string(char* dest, int code) {
    dest[0] = '\0';
    return code;
}

int memset_error(void* dest, size_t destMax, int c) {
    if (capacity_is_invalid(destMax)) return ERANGE;
    if (dest == nullptr) return EINVAL;
    memset(dest, c, destMax);  // Kept: with the requested byte, not with zero as in a reset elsewhere.
    return ERANGE_RESET;
}

int memcpy_error(void* dest, size_t destMax, const void* src, size_t count) {
    if (capacity_is_invalid(destMax)) return ERANGE;
    if (dest == nullptr) return EINVAL;
    int code = EOK;  // for dest equal to src, and for a count of 0
    if (src == nullptr)
        code = EINVAL_RESET;
    else if (count > destMax)
        code = ERANGE_RESET;
    else if (dest != src && !ranges_are_disjoint(dest, count, src, count))
        code = EOVERLAP_RESET;
    if (code != EOK) memset(dest, 0, destMax);
    return code;
}

// Classifies what strncpy_s refused.
// Kept: the order differs from the one in which strncpy_s checks, and decides which code a call with several
// faults gets.
int strncpy_error(char* dest, size_t destMax, const char* src, size_t count) {
    if (capacity_is_invalid(destMax)) return ERANGE;
    if (dest == nullptr) return EINVAL;
    if (src == nullptr) return reset_string(dest, EINVAL_RESET);
    if (count > STRING_MAX_LEN) return reset_string(dest, ERANGE_RESET);
    return reset_string(dest, EOK);  // Kept: a count of 0 empties dest and is no error.
}

// Appends to the `length` characters of `dest` one character at a time. That decides the cases that do not
// fit or that overlap, and leaves in `dest`, after its first byte, what had been copied by then.
[[gnu::noinline]] int append_by_character(char* dest, size_t destMax, size_t length, const char* src,
                                          size_t count) {
    for (size_t k = 0;; ++k) {
        char* end = dest + length + k;
        *end = src[k];
        if (*end == '\0') return EOK;
        if (length + k == destMax - 1) return reset_string(dest, ERANGE_RESET);
        if ((src > dest && end + 1 == src) || (src < dest && src + k + 1 == dest))
            return reset_string(dest, EOVERLAP_RESET);
        if (k + 1 == count) {
            end[1] = '\0';
            return EOK;
        }
    }
}

}  // namespace

int memset_s(void* dest, size_t destMax, int c, size_t count) {
    // Kept: a capacity of 0 is accepted together with a count of 0, which memcpy_s refuses.
    if (destMax <= MEM_MAX_LEN && dest != nullptr && count <= destMax) {
        memset(dest, c, count);
        return EOK;
    }
    return memset_error(dest, destMax, c);
}

int memcpy_s(void* dest, size_t destMax, const void* src, size_t count) {
    if (count != 0 && destMax <= MEM_MAX_LEN && src != nullptr && dest != nullptr && count <= destMax &&
        ranges_are_disjoint(dest, count, src, count)) {
        memcpy(dest, src, count);
        return EOK;
    }
    return memcpy_error(dest, destMax, src, count);
}

int strncpy_s(char* dest, size_t destMax, const char* src, size_t count) {
    if (count - 1 > STRING_MAX_LEN - 1 || src == nullptr || dest == nullptr || capacity_is_invalid(destMax))
        return strncpy_error(dest, destMax, src, count);

    const size_t length = strnlen(src, count < destMax ? count : destMax);
    if (length >= destMax) return reset_string(dest, ERANGE_RESET);
    if (dest != src) {
        if (!ranges_are_disjoint(dest, length + 1, src, length + 1))
            return reset_string(dest, EOVERLAP_RESET);
        memcpy(dest, src, length);
    }
    dest[length] = '\0';
    return EOK;
}

int strncat_s(char* dest, size_t destMax, const char* src, size_t count) {
    if (capacity_is_invalid(destMax)) return ERANGE;
    if (dest == nullptr) return EINVAL;
    if (src == nullptr) return reset_string(dest, EINVAL_RESET);
    if (count > STRING_MAX_LEN) return reset_string(dest, ERANGE_RESET);

    const size_t length = strnlen(dest, destMax);
    // src == end of dest is no overlap: the string ends before it.
    const auto begin = reinterpret_cast<uintptr_t>(dest);
    const auto source = reinterpret_cast<uintptr_t>(src);
    if (source > begin && source < begin + length) return reset_string(dest, EOVERLAP_RESET);
    if (length == destMax) return reset_string(dest, EINVAL_RESET);

    const size_t room = destMax - length;  // the terminator included
    size_t readable = count < room ? count : room;
    if (source > begin) {  // appending this many characters reaches src itself, so no more of it is read
        const size_t distance = source - (begin + length);
        if (distance < readable) readable = distance;
    }
    const size_t added = strnlen(src, readable);
    if (added < room && ranges_are_disjoint(dest, length + added + 1, src, added + 1)) {
        memcpy(dest + length, src, added);
        dest[length + added] = '\0';
        return EOK;
    }
    if (count == 0) return EOK;  // the terminator stays where it is
    return append_by_character(dest, destMax, length, src, count);
}

}  // namespace velmar

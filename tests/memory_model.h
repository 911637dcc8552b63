// A model of the memory and string functions, byte by byte, and whether they agree with it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "guarded.h"
#include "velmar/velmar.h"

namespace model {

using namespace velmar;

constexpr size_t kLimit = 0x7FFFFFFF;

// The checks that most functions share; after a failure `resetSize` bytes of the destination are zero.
inline int Check(char* dest, size_t destMax, const char* src, size_t count, size_t limit, size_t resetSize) {
    if (destMax == 0 || destMax > kLimit) return ERANGE;
    if (!dest) return EINVAL;
    const int code = !src ? EINVAL_RESET : count > limit ? ERANGE_RESET : EOK;
    if (code != EOK) std::fill_n(dest, resetSize, '\0');
    return code;
}

inline int Fill(char* dest, size_t destMax, int byte, size_t count) {
    if (dest && destMax == 0 && count == 0) return EOK;
    if (const int code = Check(dest, destMax, dest, 0, 0, 0)) return code;
    std::fill_n(dest, std::min(count, destMax), static_cast<char>(byte));
    return count <= destMax ? EOK : ERANGE_RESET;
}

inline int CopyBytes(char* dest, size_t destMax, const char* src, size_t count) {
    if (const int code = Check(dest, destMax, src, count, destMax, destMax)) return code;
    const bool overlap = dest != src && dest < src + count && src < dest + count;
    if (overlap) std::fill_n(dest, destMax, '\0');
    if (overlap) return EOVERLAP_RESET;
    if (dest != src) std::copy_n(src, count, dest);
    return EOK;
}

inline int Copy(char* dest, size_t destMax, const char* src, size_t count) {
    const auto reset = [dest](int code) { return dest[0] = '\0', code; };
    if (const int code = Check(dest, destMax, src, count, kLimit, 1)) return code;
    if (count == 0) return reset(EOK);
    size_t n = 0;
    while (n < count && n < destMax && src[n]) ++n;
    if (n == destMax) return reset(ERANGE_RESET);
    if (dest != src && dest <= src + n && src <= dest + n) return reset(EOVERLAP_RESET);
    std::copy_n(src, dest == src ? 0 : n, dest);
    dest[n] = '\0';
    return EOK;
}

inline int Append(char* dest, size_t destMax, const char* src, size_t count) {
    const auto reset = [dest](int code) { return dest[0] = '\0', code; };
    if (const int code = Check(dest, destMax, src, count, kLimit, 1)) return code;
    size_t len = 0;
    for (; len < destMax && dest[len]; ++len)
        if (src > dest && dest + len == src) return reset(EOVERLAP_RESET);
    if (len == destMax) return reset(EINVAL_RESET);
    for (size_t k = 0; k < count; ++k) {
        dest[len + k] = src[k];
        if (src[k] == '\0') return EOK;
        if (len + k == destMax - 1) return reset(ERANGE_RESET);
        if (src > dest && dest + len + k + 1 == src) return reset(EOVERLAP_RESET);
        if (src < dest && src + k + 1 == dest) return reset(EOVERLAP_RESET);
    }
    dest[len + count] = '\0';
    return EOK;
}

// Makes calls one after the other on one piece of memory, after whose end nothing can be read; five bytes of
// `input` decide on each. Returns our memory and the model's where these or the results differ, else "".
inline std::string Difference(std::string_view input) {
    constexpr size_t kSize = 24, kNumbers[] = {kLimit, kLimit + 1, SIZE_MAX};
    static Guarded guarded;
    char* const ours = guarded.Fresh(kSize);
    std::string copy("abcdef\0hijklm\0opqrstuvwx", kSize);
    copy.copy(ours, kSize);
    const auto below = [&](size_t limit) {
        const size_t number = static_cast<unsigned char>(input[0]) % limit;
        input.remove_prefix(1);
        return number;
    };
    while (input.size() >= 5) {
        const size_t function = below(4), to = below(kSize + 1), from = below(kSize + 1);
        const size_t room = to < kSize ? kSize - to : kSize, readable = kSize - from;
        size_t destMax = below(room + 4), count = below(36);
        if (destMax > room) destMax = kNumbers[1 + destMax % 2];
        if (count > 32) count = kNumbers[count - 33];
        // A source that does not end in the memory is not read further than that.
        const bool isText = function != 1 && copy.find('\0', from) != std::string::npos;
        if (!isText && from < kSize && (function == 1 ? count : readable) <= destMax)
            count = std::min(count, readable);
        const auto call = [&](char* memory, auto fill, auto copy_bytes, auto copy_text, auto append) {
            char* dest = to < kSize ? memory + to : nullptr;
            const char* src = from < kSize ? memory + from : nullptr;
            if (function == 0) return fill(dest, destMax, static_cast<int>(from) * 0x155, count);
            if (function == 1) return copy_bytes(dest, destMax, src, count);
            return (function == 2 ? copy_text : append)(dest, destMax, src, count);
        };
        if (call(ours, memset_s, memcpy_s, strncpy_s, strncat_s) !=
                call(copy.data(), Fill, CopyBytes, Copy, Append) ||
            !std::equal(copy.begin(), copy.end(), ours) || !guarded.OnlyFirst(kSize))
            return std::string(ours, kSize) + " and not " + copy;
    }
    return "";
}

}  // namespace model

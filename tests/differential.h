// The formatter compared with a text, and with random directives against the C library.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "guarded.h"
#include "velmar/velmar.h"

constexpr size_t kAll = static_cast<size_t>(-1);  // as the count: as many as fit

// What the C library makes of it, at most what Guarded has room for.
inline std::string CLibrary(const char* format, ...) {
    static char text[Guarded::kRoom];
    va_list values;
    va_start(values, format);
    const int length = vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return length < 0 ? "" : std::string(text, std::min(sizeof text - 1, static_cast<size_t>(length)));
}

// What is wrong with a call that is to make that text, or to refuse its format if there is none; "" if nothing
// is. Of a text that does not fit, `count` leaves the beginning and `destMax` nothing.
template <typename Call>
std::string Wrong(Call call, const std::optional<std::string>& text, size_t destMax, size_t count) {
    static Guarded guarded;
    char* const dest = guarded.Fresh(destMax);
    const size_t room = std::min(count, destMax - 1);
    const bool fits = text && text->size() <= room;
    const std::string left = fits || (text && count < destMax) ? text->substr(0, room) : "";
    const int expected = fits ? static_cast<int>(left.size()) : -1;

    const int result = call(dest, destMax, count);
    const std::string got(dest, left.size() + 1);  // with its terminator
    // The last byte is made a terminator in any case.
    if (count >= destMax && left.size() < destMax - 1) dest[destMax - 1] ^= Guarded::kFill;
    const bool isBounded = guarded.OnlyFirst(fits ? left.size() + 1 : room + 1);
    if (result == expected && got == left + '\0' && isBounded) return "";
    return ": destMax " + std::to_string(destMax) + ", count " + std::to_string(count) + "\nexpected " +
           std::to_string(expected) + " \"" + left + "\"\ngot " + std::to_string(result) + " \"" + got + '"' +
           (isBounded ? "" : ", and the bytes behind it");
}

// Formats random values by random directives whose texts are the same everywhere. Prints the cases, of so
// many, where the two disagree, and returns their number.
inline int Differential(uint64_t seed, int cases) {
    std::mt19937_64 random(seed);
    const auto below = [&](size_t limit) { return static_cast<int>(random() % limit); };
    const auto any = [&](const char* characters) { return characters[below(strlen(characters))]; };
    static const char* const kSizes[] = {"", "h", "hh", "l", "ll", "j", "z", "t"};
    int disagreements = 0;
    while (cases-- > 0) {
        const char conversion = any("diuoxXdiuoxXcseEfFgG");
        const bool isInteger = strchr("diuoxX", conversion), isText = strchr("cs", conversion);
        const bool isFloating = !isInteger && !isText;
        const int size = below(8);
        std::string format = below(3) ? "%" : "literal: %";
        std::vector<int> stars;
        const auto add_number = [&](bool mayBeNegative) {  // mostly a small one; a precision is 512 at most
            const int number = below(below(16) ? 30 : 513);
            const bool isStar = below(4) == 0;
            format += isStar ? "*" : number ? std::to_string(number) : "";
            if (isStar) stars.push_back(mayBeNegative && below(3) == 0 ? -number : number);
        };
        while (below(2)) format += isText ? '-' : any("-+ #0");
        add_number(isInteger || isText);
        if (below(2) && conversion != 'c') format += '.', add_number(true);
        format += isInteger ? kSizes[size] : isText || size < 4 ? "" : size < 6 ? "l" : "L";
        format += conversion + std::string(below(3) ? "" : "|");

        const auto compare = [&](auto... values) {
            const std::string text = CLibrary(format.c_str(), values...);
            const auto call = [&](char* dest, size_t destMax, size_t count) {
                return velmar::snprintf_s(dest, destMax, count, format.c_str(), values...);
            };
            const size_t room = below(2) ? text.size() : random() % (text.size() + 3);
            const std::string wrong = below(2) ? Wrong(call, text, room + 1, below(2) ? kAll : room + 1)
                                               : Wrong(call, text, room + 2 + random() % 9, room);
            if (wrong.empty()) return;
            ++disagreements;
            printf("\"%s\"%s\nC library \"%s\"\n", format.c_str(), wrong.c_str(), text.c_str());
        };
        const auto with_stars = [&](auto value) {
            if (stars.empty()) return compare(value);
            return stars.size() == 1 ? compare(stars[0], value) : compare(stars[0], stars[1], value);
        };
        const uint64_t bits = random() >> below(64);
        const auto number = static_cast<long long>(below(2) ? bits : 0 - bits);
        std::string text(static_cast<size_t>(below(40)), '\0');
        for (char& character : text) character = static_cast<char>(1 + below(255));
        double value = static_cast<double>(number) / (1 << below(30));
        if (below(2)) memcpy(&value, &number, sizeof value);
        if (conversion == 's') with_stars(text.c_str());
        if (conversion == 'c' || (isInteger && size <= 2)) with_stars(static_cast<int>(number));
        if (isInteger && size > 2) with_stars(number);
        if (isFloating && size < 6) with_stars(value);
        if (isFloating && size >= 6) with_stars(below(9) ? static_cast<long double>(value) / 3 : LDBL_MAX);
    }
    return disagreements;
}

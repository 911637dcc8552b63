// A directive of a format, as the formatter has read it. Internal to the formatter.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>

namespace velmar {

enum format_flag : uint32_t {
    FLAG_SIGN = 0x1,           // '+'
    FLAG_SIGN_SPACE = 0x2,     // ' '
    FLAG_LEFT = 0x4,           // '-', or a negative width given by '*'
    FLAG_LEADZERO = 0x8,       // '0'
    FLAG_LONG = 0x10,          // l
    FLAG_SHORT = 0x20,         // h, hh
    FLAG_SIGNED = 0x40,        // conversions d and i
    FLAG_ALTERNATE = 0x80,     // '#', and conversion p
    FLAG_NEGATIVE = 0x100,     // the value is negative
    FLAG_FORCE_OCTAL = 0x200,  // conversion o with '#'
    FLAG_LONG_DOUBLE = 0x400,  // L, q
    FLAG_WIDECHAR = 0x800,     // w; conversions C and S
    FLAG_LONGLONG = 0x1000,    // ll, L, q
    FLAG_CHAR = 0x2000,        // hh
    FLAG_POINTER = 0x4000,     // conversion p
    FLAG_I64 = 0x8000,         // I, I64; conversion p
    FLAG_PTRDIFF = 0x10000,    // t
    FLAG_SIZE = 0x20000,       // z
    FLAG_INTMAX = 0x40000,     // j
};

constexpr int32_t kNotGiven = -1;  // any negative precision means that none was given

struct format_spec {
    uint32_t flags = 0;
    int32_t width = 0;
    int32_t precision = kNotGiven;
    char prefix[2] = {};
    int32_t prefix_length = 0;
    const char* text = nullptr;
    const wchar_t* wide_text = nullptr;  // if not null, the text is this one, converted while it is written
    int32_t text_length = 0;             // wide characters, for a wide text; below 0, nothing is written
    bool has_minus = false;              // a '-' was read; FLAG_LEFT may also come from '*'
};

// Room for the digits of an integer. A floating-point text that may reach this length is formatted on the heap.
constexpr int kTextSize = 512;

// When it pads, the C library counts a decimal point of several bytes
// as one character, so a text may have more bytes than its width.
constexpr size_t kFloatingTextSize = kTextSize + MB_LEN_MAX;

// Has the C library format a floating-point field, width and flags included. `length` is that of the
// directive's own text. Returns the number of characters, or -1 when the conversion prints nothing:
// its precision is too large, there is no memory, or the text is longer than the size computed for
// it. The text is written to *text, which has room for kFloatingTextSize characters, or else to a
// block of the heap, which *text then points to. The caller frees such a block, also after -1.
int format_floating(char** text, const format_spec& spec, char conversion, size_t length, double value);
int format_floating(char** text, const format_spec& spec, char conversion, size_t length, long double value);

}  // namespace velmar

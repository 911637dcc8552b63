// The bounded formatter, in two lanes: a fast one for text, "%s" and "%d", which make up nearly
// every format, and the table-driven engine for everything else. See "The fast lane" below.
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "velmar/directive.h"
#include "velmar/lookup.h"
#include "velmar/velmar.h"

namespace velmar {
namespace {

// The values to format. Where the format came without any, each is 0 or null.
struct argument_list {
    va_list values;
    bool absent;
};
template <typename Type>
Type next_argument(argument_list* arguments) {
    if (arguments->absent) return Type{};
    return va_arg(arguments->values, Type);
}

// ---- The bounded output

// `count` bytes may still be written at `cur`. It goes negative when a write finds no room.
struct output_stream {
    int32_t count;
    char* cur;
};

// The writers check every byte; they set *chars_out to -1 when the stream is exhausted.
void write_char_a(int ch, output_stream* stream, int* chars_out) {
    if (--stream->count < 0) {
        stream->count = -1;  // stays at -1, so it cannot wrap
        *chars_out = -1;
        return;
    }
    *stream->cur++ = static_cast<char>(ch);
    ++*chars_out;
}

void write_multi_char_a(int ch, int n, output_stream* stream, int* chars_out) {
    for (; n >= 1 && *chars_out >= 0; --n) write_char_a(ch, stream, chars_out);
}

void write_string_a(const char* str, int n, output_stream* stream, int* chars_out) {
    for (; n >= 1 && *chars_out >= 0; --n) write_char_a(*str++, stream, chars_out);
}

// Whether there is room for n bytes and one to spare, so
// that a piece can be written without checking every byte.
bool has_room(const output_stream* stream, int n) {
    return stream->count > n;
}

void advance(output_stream* stream, int* chars_out, int n) {
    stream->cur += n;
    stream->count -= n;
    *chars_out += n;
}

constexpr size_t kShortPiece = 16;

// Copies `n` bytes. Up to 32 go in fixed-size moves that may overlap each other; below 4, byte by byte.
inline void copy_text(char* to, const char* from, size_t n) {
    if (n > 2 * kShortPiece) {
        memcpy(to, from, n);
    } else if (n >= kShortPiece) {
        memcpy(to, from, kShortPiece);
        memcpy(to + n - kShortPiece, from + n - kShortPiece, kShortPiece);
    } else if (n >= 8) {
        memcpy(to, from, 8);
        memcpy(to + n - 8, from + n - 8, 8);
    } else if (n >= 4) {
        memcpy(to, from, 4);
        memcpy(to + n - 4, from + n - 4, 4);
    } else if (n > 0) {
        to[0] = from[0];
        to[n / 2] = from[n / 2];
        to[n - 1] = from[n - 1];
    }
}

void put_text(const char* text, int n, output_stream* stream, int* chars_out) {
    if (!has_room(stream, n)) return write_string_a(text, n, stream, chars_out);
    copy_text(stream->cur, text, static_cast<size_t>(n));
    advance(stream, chars_out, n);
}

void put_padding(char fill, int64_t n, output_stream* stream, int* chars_out) {
    if (n < 1) return;
    const int length = static_cast<int>(n);  // a padding is never longer than the width
    if (!has_room(stream, length)) return write_multi_char_a(fill, length, stream, chars_out);
    memset(stream->cur, fill, static_cast<size_t>(length));
    advance(stream, chars_out, length);
}

// ---- Reading a directive

bool append_digit(int32_t* number, char digit) {
    constexpr int32_t kLargestBeforeDigit = 21474836;
    if (*number > kLargestBeforeDigit) return false;
    *number = *number * 10 + (digit - '0');
    return true;
}

void read_flag(format_spec* spec, char c) {
    switch (c) {
        case ' ': spec->flags |= FLAG_SIGN_SPACE; break;
        case '#': spec->flags |= FLAG_ALTERNATE; break;
        case '+': spec->flags |= FLAG_SIGN; break;
        case '-':
            spec->flags |= FLAG_LEFT;
            spec->has_minus = true;
            break;
        default: spec->flags |= FLAG_LEADZERO; break;
    }
}

bool read_width(format_spec* spec, char c, format_state previous, argument_list* arguments) {
    if (c == '*') {
        const int value = next_argument<int>(arguments);
        if (value < 0) spec->flags |= FLAG_LEFT;
        spec->width = value >= 0 ? value : value == INT_MIN ? INT_MAX : -value;
        return true;
    }
    if (previous != STATE_WIDTH) spec->width = 0;  // Kept: a width after a later flag starts again.
    return append_digit(&spec->width, c);
}

bool read_precision(format_spec* spec, char c, argument_list* arguments) {
    if (c == '*')
        spec->precision = next_argument<int>(arguments);
    else if (!append_digit(&spec->precision, c))
        return false;
    if (spec->precision < kNotGiven) spec->precision = kNotGiven;
    return true;
}

// `*next` points just past the size character, and is moved past what
// belongs to it. False for an I that is no size prefix but text.
bool read_size(format_spec* spec, char c, const char** next) {
    const char* const p = *next;
    switch (c) {
        case 'h':
            spec->flags |= *p == 'h' ? FLAG_CHAR : FLAG_SHORT;
            break;  // Kept: the second h is read once more and sets FLAG_SHORT as well; FLAG_CHAR wins.
        case 'l':
            spec->flags |= *p == 'l' ? FLAG_LONGLONG : FLAG_LONG;
            if (*p == 'l') *next = p + 1;
            break;
        case 'L':
        case 'q': spec->flags |= FLAG_LONGLONG | FLAG_LONG_DOUBLE; break;
        case 'j': spec->flags |= FLAG_INTMAX; break;
        case 't': spec->flags |= FLAG_PTRDIFF; break;
        case 'z': spec->flags |= FLAG_SIZE; break;
        case 'w': spec->flags |= FLAG_WIDECHAR; break;
        case 'I':
            if (p[0] == '3' && p[1] == '2') {
                spec->flags &= ~static_cast<uint32_t>(FLAG_I64);
                *next = p + 2;
            } else if (p[0] == '6' && p[1] == '4') {
                spec->flags |= FLAG_I64;
                *next = p + 2;
            } else if (*p != '\0' && strchr("diouxX", *p) != nullptr) {
                spec->flags |= FLAG_I64;
            } else {
                return false;
            }
            break;
        default: break;  // N and Z are accepted and ignored
    }
    return true;
}

// ---- Integers and pointers

using text_buffer = char[kTextSize];  // digits are built backwards from its end

constexpr char _itoa_upper_digits[] = "0123456789ABCDEFX";
constexpr char _itoa_lower_digits[] = "0123456789abcdefx";
constexpr int kPrefixLetter = 16;

template <unsigned bits>
char* write_power_of_two(uint64_t value, char* end, const char* digits) {
    for (; value != 0; value >>= bits) *--end = digits[value & ((1U << bits) - 1)];
    return end;
}

// "00" to "99".
struct digit_pairs {
    char text[200];
};
constexpr digit_pairs build_digit_pairs() {
    digit_pairs pairs{};
    for (int i = 0; i < 200; ++i) pairs.text[i] = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
    return pairs;
}
constexpr digit_pairs kDigitPairs = build_digit_pairs();

// Writes the digits so that they end before `end`; none for 0. Returns where they begin.
template <typename Unsigned>
char* write_decimal(Unsigned value, char* end) {
    for (; value >= 10; value /= 100) memcpy(end -= 2, kDigitPairs.text + 2 * (value % 100), 2);
    if (value != 0) *--end = static_cast<char>('0' + value);
    return end;
}

constexpr uint32_t kFlagsOf64Bits =
    FLAG_LONG | FLAG_LONGLONG | FLAG_PTRDIFF | FLAG_SIZE | FLAG_INTMAX | FLAG_I64;

// The first size flag that is set decides, in this order.
uint64_t fetch_integer(uint32_t flags, argument_list* arguments) {
    const bool is_signed = (flags & FLAG_SIGNED) != 0;
    if ((flags & FLAG_POINTER) != 0) return reinterpret_cast<uintptr_t>(next_argument<void*>(arguments));
    if ((flags & (FLAG_I64 | FLAG_LONGLONG | FLAG_LONG)) != 0)
        return static_cast<uint64_t>(next_argument<int64_t>(arguments));
    if ((flags & FLAG_CHAR) != 0) {
        const int value = next_argument<int>(arguments);
        return is_signed ? static_cast<uint64_t>(static_cast<signed char>(value))
                         : static_cast<unsigned char>(value);
    }
    if ((flags & FLAG_SHORT) != 0) {
        const int value = next_argument<int>(arguments);
        return is_signed ? static_cast<uint64_t>(static_cast<int16_t>(value)) : static_cast<uint16_t>(value);
    }
    if ((flags & (FLAG_PTRDIFF | FLAG_SIZE | FLAG_INTMAX)) != 0)
        return static_cast<uint64_t>(next_argument<int64_t>(arguments));
    return static_cast<uint64_t>(next_argument<int>(arguments));  // convert_integer drops its high half
}

void convert_integer(format_spec* spec, char conversion, argument_list* arguments, text_buffer& buffer) {
    const char* digits = _itoa_lower_digits;
    int radix = 10;
    switch (conversion) {
        case 'd':
        case 'i': spec->flags |= FLAG_SIGNED; break;
        case 'o':
            radix = 8;
            if ((spec->flags & FLAG_ALTERNATE) != 0) spec->flags |= FLAG_FORCE_OCTAL;
            break;
        case 'X':
            radix = 16;
            digits = _itoa_upper_digits;
            break;
        case 'x': radix = 16; break;
        case 'p':
            radix = 16;
            spec->precision = 0;
            spec->flags |= FLAG_I64 | FLAG_POINTER | FLAG_ALTERNATE;
            break;
        default: break;
    }

    uint64_t value = fetch_integer(spec->flags, arguments);
    if ((spec->flags & FLAG_SIGNED) != 0 && static_cast<int64_t>(value) < 0) {
        spec->flags |= FLAG_NEGATIVE;
        value = 0 - value;
    }
    if ((spec->flags & kFlagsOf64Bits) == 0) value = static_cast<uint32_t>(value);

    int32_t precision = spec->precision;
    if (precision < 0) {
        precision = 1;
    } else {
        // Kept: 'p' keeps the flag, so "%010p" is padded with zeros although it has a precision.
        if (conversion != 'p') spec->flags &= ~static_cast<uint32_t>(FLAG_LEADZERO);
        if (precision > kTextSize) precision = kTextSize;
    }

    if (radix == 16 && (spec->flags & FLAG_ALTERNATE) != 0 && value != 0) {  // zero never gets a prefix
        spec->prefix[0] = '0';
        spec->prefix[1] = digits[kPrefixLetter];
        spec->prefix_length = 2;
    }

    char* const end = buffer + sizeof buffer;
    char* text = radix == 10  ? write_decimal(value, end)
                 : radix == 8 ? write_power_of_two<3>(value, end, digits)
                              : write_power_of_two<4>(value, end, digits);
    while (end - text < precision) *--text = '0';
    if ((spec->flags & FLAG_FORCE_OCTAL) != 0 && (text == end || *text != '0')) *--text = '0';
    spec->text = text;
    spec->text_length = static_cast<int32_t>(end - text);
}

// ---- Characters and strings

constexpr char STR_NULL_STRING[] = "(null)";
constexpr wchar_t WSTR_NULL_STRING[] = L"(null)";

// 'C' and 'S' are wide unless a size prefix says otherwise.
bool is_wide(uint32_t flags, bool is_capital) {
    return (flags & (FLAG_LONG | FLAG_WIDECHAR)) != 0 || (is_capital && (flags & FLAG_SHORT) == 0);
}

void convert_character(format_spec* spec, char conversion, argument_list* arguments, text_buffer& buffer) {
    const bool wide = is_wide(spec->flags, conversion == 'C');
    spec->flags &= ~static_cast<uint32_t>(FLAG_LEADZERO);  // padded with spaces only
    const int value = next_argument<int>(arguments);
    buffer[0] = static_cast<char>(value);
    spec->text = buffer;
    spec->text_length = 1;
    if (!wide) return;

    static_assert(sizeof(text_buffer) >= MB_LEN_MAX, "the text buffer takes any multibyte character");
    spec->text_length = wctomb(buffer, static_cast<wchar_t>(value));
}

void convert_string(format_spec* spec, char conversion, argument_list* arguments) {
    const size_t limit = static_cast<size_t>(spec->precision < 0 ? INT_MAX : spec->precision);
    const bool wide = is_wide(spec->flags, conversion == 'S');
    spec->flags &= ~static_cast<uint32_t>(FLAG_LEADZERO);  // padded with spaces only
    const void* argument = next_argument<void*>(arguments);
    if (wide) {
        spec->wide_text = argument != nullptr ? static_cast<const wchar_t*>(argument) : WSTR_NULL_STRING;
        spec->text_length = static_cast<int32_t>(wcsnlen(spec->wide_text, limit));
    } else {
        spec->text = argument != nullptr ? static_cast<const char*>(argument) : STR_NULL_STRING;
        spec->text_length = static_cast<int32_t>(strnlen(spec->text, limit));
    }
}

// ---- Floating point

template <typename Value>
[[gnu::noinline]] void put_floating(Value value, const format_spec& spec, char conversion, size_t length,
                                    output_stream* stream, int* chars_out) {
    char local[kFloatingTextSize];
    char* text = local;
    const int written = format_floating(&text, spec, conversion, length, value);
    if (written > 0) put_text(text, written, stream, chars_out);
    if (text != local) free(text);
}

// ---- The field

void put_wide_text(const format_spec& spec, output_stream* stream, int* chars_out) {
    char bytes[MB_LEN_MAX];
    for (int32_t i = 0; i < spec.text_length && *chars_out >= 0; ++i) {
        const int length = wctomb(bytes, spec.wide_text[i]);
        if (length < 1)
            *chars_out = -1;
        else
            write_string_a(bytes, length, stream, chars_out);
    }
}

void put_field(format_spec* spec, output_stream* stream, int* chars_out) {
    if ((spec->flags & FLAG_SIGNED) != 0) {
        spec->prefix_length = 1;
        if ((spec->flags & FLAG_NEGATIVE) != 0)
            spec->prefix[0] = '-';
        else if ((spec->flags & FLAG_SIGN) != 0)
            spec->prefix[0] = '+';
        else if ((spec->flags & FLAG_SIGN_SPACE) != 0)
            spec->prefix[0] = ' ';
        else
            spec->prefix_length = 0;
    }
    if (spec->text_length == 0 && (spec->flags & FLAG_POINTER) != 0) {
        spec->text = "(nil)";
        spec->text_length = 5;
        spec->flags &= ~static_cast<uint32_t>(FLAG_LEADZERO);
    }

    // Kept: a wide text is padded by its characters, not by the bytes that they become.
    const int64_t padding = int64_t{spec->width} - spec->text_length - spec->prefix_length;
    const bool left = (spec->flags & FLAG_LEFT) != 0;
    const bool zeros = (spec->flags & FLAG_LEADZERO) != 0;
    if (!left && !zeros) put_padding(' ', padding, stream, chars_out);
    if (spec->prefix_length > 0) put_text(spec->prefix, spec->prefix_length, stream, chars_out);
    if (!left && zeros) put_padding('0', padding, stream, chars_out);
    if (spec->wide_text != nullptr)
        put_wide_text(*spec, stream, chars_out);
    else
        put_text(spec->text, spec->text_length, stream, chars_out);
    if (left && *chars_out >= 0) put_padding(' ', padding, stream, chars_out);
}

// ---- One directive

// Performs the directive, of `length` characters, that ends with this conversion.
void put_conversion(format_spec* spec, char conversion, size_t length, argument_list* arguments,
                    output_stream* stream, int* chars_out) {
    text_buffer buffer;
    switch (conversion) {
        case 'c':
        case 'C': convert_character(spec, conversion, arguments, buffer); break;
        case 's':
        case 'S': convert_string(spec, conversion, arguments); break;
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
        case 'p': convert_integer(spec, conversion, arguments, buffer); break;
        default:
            if ((spec->flags & FLAG_LONG_DOUBLE) != 0)
                put_floating(next_argument<long double>(arguments), *spec, conversion, length, stream,
                             chars_out);
            else
                put_floating(next_argument<double>(arguments), *spec, conversion, length, stream, chars_out);
            return;
    }
    if (spec->text_length >= 0) put_field(spec, stream, chars_out);
}

// Performs the directive that a '%' opens. Returns the
// place after it, or null when it is invalid or unfinished.
const char* put_directive(const char* directive, argument_list* arguments, output_stream* stream,
                          int* chars_out) {
    format_spec spec;
    format_state state = STATE_PERCENT;
    for (const char* next = directive + 1; *next != '\0';) {
        const format_state previous = state;
        const char c = *next++;
        state = next_state(state, c);
        switch (state) {
            case STATE_TEXT: put_text(next - 1, 1, stream, chars_out); return next;
            case STATE_FLAGS: read_flag(&spec, c); break;
            case STATE_WIDTH:
                if (!read_width(&spec, c, previous, arguments)) return nullptr;
                break;
            case STATE_DOT: spec.precision = 0; break;
            case STATE_PRECISION:
                if (!read_precision(&spec, c, arguments)) return nullptr;
                break;
            case STATE_SIZE:
                if (read_size(&spec, c, &next)) break;
                put_text(next - 1, 1, stream, chars_out);
                return next;
            case STATE_CONV:
                put_conversion(&spec, c, static_cast<size_t>(next - directive), arguments, stream, chars_out);
                return next;
            default: return nullptr;
        }
    }
    return nullptr;
}

// ---- Ordinary text

// No buffer takes more than INT_MAX characters, so a longer text does not fit anyway.
int clamp_length(size_t length) {
    return length > INT_MAX ? INT_MAX : static_cast<int>(length);  // GCOVR_EXCL_BR_LINE: 2 GB of text
}

// The number of characters before the next '%' or the end of the text.
size_t literal_length(const char* text) {
#ifdef __GLIBC__
    const char* end = strchrnul(text, '%');
#else
    const char* end = strchr(text, '%');
    if (end == nullptr) end = text + strlen(text);
#endif
    return static_cast<size_t>(end - text);
}

// ---- The fast lane
//
// Nearly every format of the daemon is text, "%s" and "%d" alone. In the engine, most of the cost of such a
// format would be bookkeeping. put_plain writes those three directly, as long as the end of the buffer is
// far away, and stops at anything else: another directive, a flag, the last bytes of the buffer, a format
// that came without values. The engine takes over there, and hands back after each directive or run of text.
//
// Both lanes produce the same text: they copy text as it is; "%s" and "%d" without flags,
// width and precision are the value's plain text, which needs neither padding nor a
// prefix; and where the buffer runs out, put_plain fills it to the last byte, which
// makes the engine find it exhausted, as if it had written those bytes itself.

char* write_pair(char* to, size_t value) {
    memcpy(to, kDigitPairs.text + 2 * value, 2);
    return to + 2;
}

char* write_below_100(char* to, unsigned value) {
    if (value >= 10) return write_pair(to, value);
    *to = static_cast<char>('0' + value);
    return to + 1;
}

// Writes `value` in decimal to `to`, which has room for kLongestInt characters. Returns the end.
inline char* write_int(char* to, int value) {
    auto magnitude = static_cast<unsigned>(value);
    if (__builtin_expect(value < 0, 0)) {
        *to++ = '-';
        magnitude = 0 - magnitude;
    }
    if (magnitude < 100) return write_below_100(to, magnitude);
    if (magnitude < 10000) return write_pair(write_below_100(to, magnitude / 100), magnitude % 100);
    int digits = 5;
    for (uint64_t limit = 100000; magnitude >= limit; limit *= 10) ++digits;
    write_decimal(magnitude, to + digits);
    return to + digits;
}

constexpr int kShortRun = 5;                   // up to this many, copying byte by byte beats searching
constexpr int kLongestInt = 11;                // "-2147483648"
constexpr int kFar = kShortRun + kLongestInt;  // the most that is written between two looks at the end

// Copies ordinary characters, up to kShortRun of them. Returns how many.
inline int copy_short_run(char* to, const char* from) {
    int n = 0;
    for (; n < kShortRun && from[n] != '%' && from[n] != '\0'; ++n) to[n] = from[n];
    return n;
}

static_assert(next_state(STATE_PERCENT, 's') == STATE_CONV && next_state(STATE_PERCENT, 'd') == STATE_CONV,
              "the engine takes both for complete directives, too");

// Writes text, "%s" and "%d" to *place, advancing it, as long as `end` is far away.
// Returns where in the format something else begins. The branch hints here and in
// write_int keep the common path straight, which saves a quarter of a log line's time.
inline const char* put_plain(char** place, const char* end, const char* format, argument_list* arguments) {
    if (end - *place <= kFar || arguments->absent) return format;
    char* cur = *place;
    const char* const far = end - kFar;
    while (cur < far) {
        const int run = copy_short_run(cur, format);
        format += run;
        cur += run;
        const char* text = format;
        size_t length;
        if (__builtin_expect(format[0] != '%', 0)) {  // text between directives is short
            if (format[0] == '\0') break;
            length = literal_length(format);
            format += length;
        } else if (format[1] == 'd') {
            cur = write_int(cur, va_arg(arguments->values, int));
            format += 2;
            continue;
        } else if (format[1] == 's') {
            text = va_arg(arguments->values, const char*);
            if (text == nullptr) text = STR_NULL_STRING;
            length = strlen(text);
            format += 2;
        } else {
            break;
        }
        const auto room = static_cast<size_t>(end - cur);
        if (length > room) {
            length = room;
            format = "";  // whatever follows has no room
        }
        copy_text(cur, text, length);
        cur += length;
    }
    *place = cur;
    return format;
}

// ---- The engine

// Writes the rest of a format, of which `chars_out` characters are written already. Returns the total, or -1.
int velmar_output_s(output_stream* stream, const char* format, argument_list* arguments, int chars_out) {
    while (*format != '\0') {
        if (*format == '%') {
            format = put_directive(format, arguments, stream, &chars_out);
            if (format == nullptr) return -1;
        } else {
            const size_t length = literal_length(format);
            put_text(format, clamp_length(length), stream, &chars_out);
            format += length;
        }
        if (*format == '\0' || chars_out < 0) break;
        char* cur = stream->cur;
        format = put_plain(&cur, cur + stream->count, format, arguments);
        advance(stream, &chars_out, static_cast<int>(cur - stream->cur));
    }
    return chars_out;
}

// ---- The entry points

constexpr int kDidNotFit = -2;

// Writes what put_plain left over, from `cur` on. Not inlined: the engine's buffers
// and registers would slow down the formats that put_plain finishes by itself.
[[gnu::noinline]] int output_rest(char* dest, size_t size, char* cur, const char* format,
                                  argument_list* arguments) {
    const auto written = static_cast<int>(cur - dest);
    output_stream stream = {static_cast<int32_t>(size) - written, cur};
    const int result = velmar_output_s(&stream, format, arguments, written);
    if (result >= 0 && --stream.count >= 0) {
        *stream.cur = '\0';
        return result;
    }
    dest[size - 1] = '\0';
    return stream.count < 0 ? kDidNotFit : -1;
}

// Returns the number of characters, kDidNotFit, or -1 when the format is rejected.
int vsnprintf_helper(char* dest, size_t size, const char* format, argument_list* arguments) {
    char* cur = dest;
    format = put_plain(&cur, dest + size, format, arguments);
    if (*format != '\0' || cur == dest + size) return output_rest(dest, size, cur, format, arguments);
    *cur = '\0';
    return static_cast<int>(cur - dest);
}

constexpr size_t kFormatLimit = 0x7FFFFFFF;
constexpr size_t kAsMuchAsFits = static_cast<size_t>(-1);

int format_bounded(char* dest, size_t destMax, size_t count, const char* format, argument_list* arguments) {
    if (destMax == 0 || destMax > kFormatLimit || dest == nullptr || format == nullptr) {
        // Kept: a capacity above the limit gets its first byte cleared, too.
        if (dest != nullptr && destMax != 0) dest[0] = '\0';
        return -1;
    }
    // Kept: text cut by `count` stays, text cut by the buffer is dropped; callers rely on both.
    if (count < destMax) {
        const int result = vsnprintf_helper(dest, count + 1, format, arguments);
        if (result == -1) dest[0] = '\0';
        return result < 0 ? -1 : result;
    }
    int result = -1;
    if (count < kFormatLimit || count == kAsMuchAsFits) {
        result = format_bounded(dest, destMax, destMax - 1, format, arguments);
        dest[destMax - 1] = '\0';
    }
    if (result < 0) dest[0] = '\0';
    return result;
}

}  // namespace

int vsnprintf_s(char* dest, size_t destMax, size_t count, const char* format, va_list argList) {
    argument_list arguments;
    arguments.absent = false;
    va_copy(arguments.values, argList);
    const int result = format_bounded(dest, destMax, count, format, &arguments);
    va_end(arguments.values);
    return result;
}

int snprintf_s(char* dest, size_t destMax, size_t count, const char* format, ...) {
    argument_list arguments;
    arguments.absent = false;
    va_start(arguments.values, format);
    const int result = format_bounded(dest, destMax, count, format, &arguments);
    va_end(arguments.values);
    return result;
}

int format_without_arguments_s(char* dest, size_t destMax, size_t count, const char* format) {
    argument_list none{};
    none.absent = true;
    return format_bounded(dest, destMax, count, format, &none);
}

}  // namespace velmar

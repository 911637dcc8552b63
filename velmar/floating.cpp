// The formatter's floating-point conversions, which the C library formats.
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "velmar/directive.h"

#if !defined(__APPLE__) && !defined(__GLIBC__)
#error "the C library must offer __vsprintf_chk"
#endif
extern "C" int __vsprintf_chk(char* buffer, int flag, size_t objectSize, const char* format, va_list argList);

namespace velmar {
namespace {

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wstringop-overflow"  // it warns about the object size that means "unbounded"
#endif
int indirectSprintf(char* buffer, const char* format, ...) {
    constexpr size_t kUnbounded = static_cast<size_t>(-1);
    va_list argList;
    va_start(argList, format);
    const int result = __vsprintf_chk(buffer, 0, kUnbounded, format, argList);
    va_end(argList);
    return result;
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

// The longest directive that is composed here.
// Kept: a source directive of 16 characters or more gets a block of the heap all the same,
// and when there is none, the conversion prints nothing.
constexpr size_t kLongestDirective = sizeof "%+ #0-*.*Lf" - 1;
constexpr size_t kLocalDirective = 16;
static_assert(kLongestDirective < kLocalDirective, "what is composed always fits");

// Composes the directive for the C library: the same flags and conversion;
// width and precision passed as arguments, whatever mixture of digits and '*'
// they were given in; and the one size prefix that says which type is passed.
void compose_directive(char* directive, const format_spec& spec, char conversion) {
    *directive++ = '%';
    if ((spec.flags & FLAG_SIGN) != 0) *directive++ = '+';
    if ((spec.flags & FLAG_SIGN_SPACE) != 0) *directive++ = ' ';
    if ((spec.flags & FLAG_ALTERNATE) != 0) *directive++ = '#';
    if ((spec.flags & FLAG_LEADZERO) != 0) *directive++ = '0';
    // Kept: not FLAG_LEFT, so a negative width given by '*'
    // comes out right-justified here, unlike everywhere else.
    if (spec.has_minus) *directive++ = '-';
    memcpy(directive, "*.*", 3);
    directive += 3;
    if ((spec.flags & FLAG_LONG_DOUBLE) != 0) *directive++ = 'L';
    *directive++ = conversion;
    *directive = '\0';
}

// The most characters that a value needs besides its precision:
// those before the fraction, sign, point and exponent.
constexpr int32_t kMostOfDouble = 349;
constexpr int32_t kMostOfLongDouble = 4972;

template <typename Value>
int format_value(char** text, int32_t most, const format_spec& spec, char conversion, size_t length,
                 Value value) {
    int32_t precision = spec.precision < 0 ? 6 : spec.precision;
    if (precision == 0 && (conversion == 'g' || conversion == 'G')) precision = 1;
    if (precision > INT32_MAX - most) return -1;
    int32_t size = precision + most;
    if (size < spec.width) size = spec.width;

    if (size >= kTextSize) {
        auto* block = static_cast<char*>(malloc(static_cast<size_t>(size) + 2));
        if (block == nullptr) return -1;
        *text = block;
    }
    char local_directive[kLocalDirective];
    char* directive = length < kLocalDirective ? local_directive : static_cast<char*>(malloc(length + 1));
    if (directive == nullptr) return -1;
    compose_directive(directive, spec, conversion);
    const int written = indirectSprintf(*text, directive, spec.width, precision, value);
    if (directive != local_directive) free(directive);
    return written <= size ? written : -1;
}

}  // namespace

int format_floating(char** text, const format_spec& spec, char conversion, size_t length, double value) {
    return format_value(text, kMostOfDouble, spec, conversion, length, value);
}

int format_floating(char** text, const format_spec& spec, char conversion, size_t length, long double value) {
    return format_value(text, kMostOfLongDouble, spec, conversion, length, value);
}

}  // namespace velmar

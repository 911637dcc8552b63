// velmar: the bounded memory, string and formatting functions.
//
// Every function takes the capacity of its destination, writes nothing beyond it, and reports by its result.
// All are re-entrant; none logs, asserts, aborts or keeps state between calls.
#pragma once

#include <cerrno>  // EINVAL and ERANGE are its macros; they are result codes here
#include <cstdarg>
#include <cstddef>

namespace velmar {

// Result codes of the memory and string functions. A RESET code is the plain code plus 128: the destination
// was also reset, that is filled over its whole capacity (memory functions) or made the empty string.
//   EINVAL  22   dest is null; nothing written
//   ERANGE  34   destMax is 0 or above the limit; nothing written
static_assert(EINVAL == 22 && ERANGE == 34, "result codes have fixed values");
constexpr int EOK = 0;
constexpr int EINVAL_RESET = 150;    // src is null, or (append) dest holds no terminator; reset
constexpr int ERANGE_RESET = 162;    // the request does not fit, or count is above the limit; reset
constexpr int EOVERLAP_RESET = 182;  // src and dest overlap; reset

// Largest capacity and count, in bytes.
constexpr size_t MEM_MAX_LEN = 0x7FFFFFFF;
constexpr size_t STRING_MAX_LEN = 0x7FFFFFFF;

// Fills the first `count` bytes of `dest` (capacity `destMax` bytes) with the byte `c`.
// EOK; ERANGE; EINVAL; ERANGE_RESET when count > destMax: all destMax bytes are then filled with `c`.
// A capacity of 0 together with a count of 0 is EOK.
int memset_s(void* dest, size_t destMax, int c, size_t count);

// Copies `count` bytes from `src` to `dest` (capacity `destMax` bytes).
// EOK; ERANGE; EINVAL; EINVAL_RESET (src null), ERANGE_RESET (count > destMax), EOVERLAP_RESET: all destMax
// bytes are then zero. `dest` equal to `src`, or a count of 0, copies nothing and is EOK.
int memcpy_s(void* dest, size_t destMax, const void* src, size_t count);

// Copies at most `count` characters of the string `src` to `dest` (capacity `destMax` bytes) and terminates.
// A source longer than `count` is cut silently. EOK; ERANGE; EINVAL; EINVAL_RESET (src null), ERANGE_RESET
// (no room for the characters and the terminator, or count above the limit), EOVERLAP_RESET: `dest` is then
// "". A count of 0 makes `dest` the empty string and is EOK. Bytes of `dest` behind the terminator stay as
// they are.
int strncpy_s(char* dest, size_t destMax, const char* src, size_t count);

// Appends at most `count` characters of `src` to the string in `dest` (capacity of the whole buffer `destMax`
// bytes). Results as for strncpy_s; EINVAL_RESET also when `dest` holds no terminator within destMax bytes.
int strncat_s(char* dest, size_t destMax, const char* src, size_t count);

// Format into `dest` (capacity `destMax` bytes), at most `count` characters; (size_t)-1 as `count` means as
// many as fit. Return the number of characters written without the terminator, or -1. After -1 `dest` holds
//   - the first `count` characters of the text when that was too long and count < destMax,
//   - the empty string when the text did not fit destMax, the format is invalid, or an argument is refused
//     (destMax 0 or above 0x7FFFFFFF, count 0x7FFFFFFF or more, a null pointer).
//
//   %[flags][width][.precision][size]conversion
//   flags       space # + - 0            width, precision   digits or *
//   size        h hh l ll j z t w L q I I32 I64; N and Z are ignored
//   conversion  d i u o x X p c C s S e E f F g G
//
// Anything else after a '%', 'n' and 'a' among it, is an invalid format. A null %s prints "(null)", a null %p
// "(nil)". A wide character that has no multibyte form prints nothing; in a wide string it fails the call.
// The only memory allocated is for floating-point texts of 512 characters or more and directives of 16 or
// more; when that fails the conversion prints nothing.
int snprintf_s(char* dest, size_t destMax, size_t count, const char* format, ...);
int vsnprintf_s(char* dest, size_t destMax, size_t count, const char* format, va_list argList);

// The same for a format that comes without any argument, such as a text that somebody else made: conversions
// are read as conversions, and each value that one asks for is 0 or null.
int format_without_arguments_s(char* dest, size_t destMax, size_t count, const char* format);

}  // namespace velmar

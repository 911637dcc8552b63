// velmar: the bounded memory, string and formatting functions.
//
// Every function takes the capacity of its destination, writes nothing beyond it, and reports by its result.
// None logs, asserts or aborts. They keep no state, so they may be called from several threads at once, for
// different destinations. The exception is the formatter's wide conversions (such as %lc and %S): they call
// wctomb, which may keep a shift state for the whole process.
#pragma once

#include <cerrno>  // EINVAL and ERANGE are its macros; they are result codes here
#include <cstdarg>
#include <cstddef>

namespace velmar {

// Result codes of the memory and string functions; ERANGE is tested before EINVAL. A RESET code is the plain
// code plus 128: the destination was also reset, that is, filled over its whole capacity (memory functions)
// or made the empty string.
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

// Fills the first `count` bytes of `dest` (capacity `destMax` bytes) with the byte `c`. Returns EOK, ERANGE,
// EINVAL, or ERANGE_RESET when count > destMax: all destMax bytes are then filled with `c`. A capacity of 0
// together with a count of 0 is EOK, unless `dest` is null.
int memset_s(void* dest, size_t destMax, int c, size_t count);

// Copies `count` bytes from `src` to `dest` (capacity `destMax` bytes). Returns
// EOK, ERANGE, EINVAL or, with all destMax bytes of `dest` zero, EINVAL_RESET (src
// null), ERANGE_RESET (count > destMax) or EOVERLAP_RESET. With otherwise valid
// arguments, `dest` equal to `src`, or a count of 0, copies nothing and is EOK.
int memcpy_s(void* dest, size_t destMax, const void* src, size_t count);

// Copies at most `count` characters of the string `src` to `dest` (capacity `destMax` bytes) and
// terminates. A longer source is cut silently. Returns EOK, ERANGE, EINVAL or, with `dest` made the
// empty string, EINVAL_RESET (src null), ERANGE_RESET (no room for the characters and the terminator,
// or count above the limit) or EOVERLAP_RESET. With otherwise valid arguments, a count of 0 makes
// `dest` the empty string and is EOK. Bytes of `dest` after the terminator stay as they are.
int strncpy_s(char* dest, size_t destMax, const char* src, size_t count);

// Appends at most `count` characters of `src` to the string in `dest` (capacity of the whole buffer
// `destMax` bytes). Returns EOK, ERANGE, EINVAL or, with `dest` made the empty string, EINVAL_RESET
// (src null, or `dest` holds no terminator within destMax bytes), ERANGE_RESET or EOVERLAP_RESET,
// as strncpy_s does. With otherwise valid arguments, a count of 0 changes nothing and is EOK.
int strncat_s(char* dest, size_t destMax, const char* src, size_t count);

// Format into `dest` (capacity `destMax` bytes), at most `count` characters; (size_t)-1 as `count` means as
// many as fit. No argument may overlap `dest`. Return the number of characters written without the
// terminator, or -1. After -1 `dest` holds
//   - the first `count` characters of the text when that was too long and count < destMax,
//   - its old contents when destMax is 0,
//   - the empty string in every other case: the text did not fit destMax, the format is invalid, a wide string
//     has a character without a multibyte form, or an argument is refused (destMax above 0x7FFFFFFF, count
//     0x7FFFFFFF or more, a null format).
//
//   %[flags][width][.precision][size]conversion
//   flags       space # + - 0            width, precision   digits or *
//   size        h hh l ll j z t w L q I I32 I64; N and Z are ignored
//   conversion  d i u o x X p c C s S e E f F g G
//
// "%%" prints a per cent sign. An I that none of 32, 64, d i o u x X follows ends the directive;
// it and the rest are text. Anything else after a '%', including 'n' and 'a', is an invalid
// format. A null %s prints "(null)", a null %p "(nil)". A wide character that has no multibyte
// form prints nothing; in a wide string it fails the call. Memory is allocated only for floating
// point: for a text that may have 512 characters or more (the precision plus 349, or plus 4,972
// with L or q, or the width), and for a directive of 16 characters or more. When that fails, or
// the precision is near INT_MAX, the conversion prints nothing, and the call goes on.
int snprintf_s(char* dest, size_t destMax, size_t count, const char* format, ...);
int vsnprintf_s(char* dest, size_t destMax, size_t count, const char* format, va_list argList);

// The same for a format that comes without any arguments, such as text that is not a literal: its
// directives are read as directives, and every value that one of them asks for is 0 or null.
int format_without_arguments_s(char* dest, size_t destMax, size_t count, const char* format);

}  // namespace velmar

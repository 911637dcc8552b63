// The INI file reader: one file is selected for the process,
// and each lookup opens it and scans it from the top.
//
// A section starts at a line that contains "[section]" anywhere; it ends at the next line with both '[' and
// ']'. A key line is key, optional spaces, '=', value. Only the space character is white space. Case matters.
// There are no comments. Carriage returns and empty lines are dropped; lines are cut to their first 1,023
// characters. A last line without a line feed ends with one byte 0xFF.
//
// Returned strings point into the module's line buffer and are valid until the next read of any kind.
// Not re-entrant. Failures are logged as "Common/INI".
#pragma once

#include <cstdint>
#include <cstdio>

// Selects the file when it can be opened for reading; the first 1,023 characters of `path` are kept. False
// and no change otherwise: "param error." for null, "open file: %s failed, please check...\n".
bool SetIniFileName(const char* path);

// The value of `key` in `section` without spaces at its ends, or `defaultValue`. Logs "param error.",
// "open file: %s failed, please check...", "cfg section [%s] not exists..." or "cfg key [%s] not exists...";
// the last two come after what the scan itself logs.
const char* ReadString(const char* section, const char* key, const char* defaultValue);

// As ReadString, with the value's leading spaces kept, and with a default
// that may be null. Logs "param error." and "open file: %s failed, please
// check...\n"; for a missing section or key only what the scan logs.
const char* ReadStringEx(const char* section, const char* key, const char* defaultValue);

// Always `defaultValue`: it asks ReadString with a null default, which is refused. Logs "param error" for
// null, else "param error." as ReadString and "ReadString error".
int32_t ReadInteger(const char* section, const char* key, int32_t defaultValue);

// ReadString with the empty string as default. Returns null and logs "param error." for a null section or
// key.
const char* GetInitKey(const char* unused, const char* section, const char* key);

// The text after the first '=' of `line`, or null when there is none. Returns null and logs "param error" for
// a null argument.
const char* GetKeyValue(const char* line);

// Cuts trailing spaces in place and returns the first character that is none. Returns null and logs "param
// error." for a null argument.
char* Trim(char* text);

// The next non-empty line of `stream`, or null at its end and for a line that begins
// with a NUL; on a read error, the part read so far, or null. After a last line that
// has a line feed comes one more, of the single byte 0xFF. Logs "param error" for null.
char* ReadLine(FILE* stream);

// Reads on until the section's header line: true, with the stream at the line after it; false at the end of
// the file ("not found the section") and for null ("param error").
bool SectionExists(FILE* stream, const char* section);

// Reads on until a line that has the key: true, with that line in the buffer; false at the end of the section
// (nothing logged), at the end of the file ("not found the key") and for null ("param error").
bool KeyExists(FILE* stream, const char* key);

// Whether `line` contains "[section]", of which the first 127 characters count
// (a name of 126 characters or more loses the ']'). "param error." for null.
bool SectionExistsInLine(const char* line, const char* section);

// Cuts the trailing spaces off `line`. True when it contains `key` anywhere and, after as
// many characters as the key has and any spaces, has '=' or ends. "param error." for null.
bool KeyExistsInLine(char* line, const char* key);

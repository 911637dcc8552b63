// The log: one file, appended to, of numbered and time-stamped lines
//   line 12===2009-3-5 9:4:12   Zerbin:main --- message
// The number counts from 1 for the life of the process, lost lines included. Local time, no padding.
#pragma once

// Stores the log's path and enables logging; the first Log opens the file.
// A null path, or one of 1,024 characters or more, disables logging. A
// stream that is already open stays open, and goes on taking the lines.
void InitLogSystem(const char* path);

// Closes the stream, if open, and disables logging. The line number goes on counting.
void CloseLogSystem();

// Writes one line. `file` is the caller's source path, of which the part after the last '/' is
// shown (a path without '/' is shown without its first character); `function` is the caller's
// name; `format` and the arguments make the message as velmar::snprintf_s does (an invalid format
// makes an empty one). Text that is not a literal is passed through "%s", never as a format.
// Message and line are each cut to 2,047 characters; a cut line has no line end. A doubled per
// cent sign in the line is written once. Does nothing while logging is disabled, or when `file`,
// `function` or `format` is null. A file of 10,000,001 bytes or more is emptied before the line
// is written. A line that cannot be written is lost, and the next call tries again; failures are
// not reported. A line reaches the file when the next one is logged, or when the log is closed.
[[gnu::format(printf, 3, 4)]] void Log(const char* file, const char* function, const char* format, ...);

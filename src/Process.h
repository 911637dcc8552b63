// Runs shell command lines. Logs as "src/Process".
#pragma once

// Runs `command` with system() until its raw wait status is 0, at most `tries` times, with 1 second of sleep
// after each failed try (the last one too). True when a try succeeded. Logs "RunShellProgram Enter", one
// message per failed try, and "RunShellProgram exit true.(%s)" or
// "(%s) false, RunShellProgram exit failed"; for a null command only "param error".
bool RunShellProgram(const char* command, int tries);

// Runs `command` with its standard output redirected to the capture file (10 tries), and reads at most `size`
// bytes of that into `output`, whose last byte is then NUL. True when the command succeeded and printed
// something. False otherwise: a null argument, a size below 1 or a command that begins with the digit '0'
// leaves `output` untouched, any other failure leaves it zero-filled. The capture file is removed if it could
// be opened. Sleeps at least 1 second. Logs "enter RunShellCmd (%s)", "recv [%s]" and each failure.
bool RunShellCmd(const char* command, char* output, int size);

#include "src/Process.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Common/Log.h"
#include "Common/Paths.h"
#include "velmar/velmar.h"

namespace {

constexpr char kSource[] = "src/Process";
constexpr int kCaptureTries = 10;
constexpr int kStatusNotRun = -1;
// Kept: compared with the raw wait status, in which a shell's exit code 127 is 32512, so that case is logged
// like any other exit code.
constexpr int kStatusShellFailed = 127;
constexpr size_t kCommandSize = 1024;
constexpr size_t kErrorTextSize = 256;

void LogFailedTry(int number, int status, const char* command, int error) {
    if (status == kStatusNotRun) {
        Log(kSource, "RunShellProgram", "system failed %d time because fork or waitpid. (%s)", number,
            command);
    } else if (status == kStatusShellFailed) {
        Log(kSource, "RunShellProgram", "system failed %d time because shell failed. (%s)", number, command);
    } else {
        // Kept: the wait status is looked up as if it were an error number, so its text means nothing.
        char statusText[kErrorTextSize];  // a copy: the next strerror may overwrite or free its text
        velmar::strncpy_s(statusText, sizeof statusText, strerror(status), sizeof statusText - 1);
        Log(kSource, "RunShellProgram", "system failed %d time, return %d[%s]:(%s), err = (%s)", number,
            status, statusText, command, strerror(error));
    }
}

enum class Capture { kNotOpened, kEmpty, kRead };

// Reads the capture file into `output`, and logs the result.
Capture ReadCaptureFile(char* output, size_t size) {
    // Kept: opened for writing too, so a file that cannot be written counts as unreadable.
    FILE* stream = fopen(kCaptureFile, "r+");
    if (stream == nullptr) {
        Log(kSource, "RunShellCmd", "fopen failed for [%s]", strerror(errno));
        return Capture::kNotOpened;
    }
    Capture result = Capture::kEmpty;
    if (fread(output, 1, size, stream) > 0) {
        output[size - 1] = '\0';
        Log(kSource, "RunShellCmd", "recv [%s]", output);
        result = Capture::kRead;
    } else {
        Log(kSource, "RunShellCmd", "fread failed");
    }
    fclose(stream);
    return result;
}

}  // namespace

bool RunShellProgram(const char* command, int tries) {
    // Kept: a null command is refused before the function says that it was entered.
    if (command == nullptr) {
        Log(kSource, "RunShellProgram", "param error");
        return false;
    }
    Log(kSource, "RunShellProgram", "RunShellProgram Enter");
    for (int i = 0; i < tries; ++i) {
        const int status = system(command);
        const int error = errno;
        if (status == 0) {
            Log(kSource, "RunShellProgram", "RunShellProgram exit true.(%s)", command);
            return true;
        }
        LogFailedTry(i, status, command, error);
        sleep(1);
    }
    Log(kSource, "RunShellProgram", "(%s) false, RunShellProgram exit failed", command);
    return false;
}

bool RunShellCmd(const char* command, char* output, int size) {
    // Kept: the digit zero is refused, not the terminator, so an empty command is accepted.
    if (command == nullptr || size <= 0 || output == nullptr || command[0] == '0') {
        Log(kSource, "RunShellCmd", "enter RunShellCmd, but parmer is wrong, exit");
        return false;
    }
    const auto outputSize = static_cast<size_t>(size);
    char cmdBuff[kCommandSize];
    Log(kSource, "RunShellCmd", "enter RunShellCmd (%s)", command);
    velmar::memset_s(output, outputSize, 0, outputSize);

    velmar::snprintf_s(cmdBuff, sizeof cmdBuff, sizeof cmdBuff - 1, "%s > %s", command, kCaptureFile);
    if (!RunShellProgram(cmdBuff, kCaptureTries)) {
        // Kept: the capture file, which the shell creates anyway, stays until the next call that succeeds.
        Log(kSource, "RunShellCmd", "RunShellProgram cmdBuff 1 failed");
        return false;
    }
    sleep(1);
    const Capture result = ReadCaptureFile(output, outputSize);
    if (result == Capture::kNotOpened) return false;

    velmar::snprintf_s(cmdBuff, sizeof cmdBuff, sizeof cmdBuff - 1, "rm -f %s", kCaptureFile);
    if (!RunShellProgram(cmdBuff, kCaptureTries)) Log(kSource, "RunShellCmd", "delete tmp file failed!");
    return result == Capture::kRead;
}

#include "src/ActiveVolumeProgram.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "Common/Log.h"
#include "src/Process.h"
#include "velmar/velmar.h"

namespace {

constexpr char kSource[] = "src/ActiveVolumeProgram";
constexpr size_t kBufferSize = 1024;         // lines, values and paths
constexpr size_t kFileNameSize = 512;        // the disk image's name
constexpr int kPollSeconds = 2;              // between two looks for a volume
constexpr int32_t kFolderSeconds = 180;      // the longest wait for the folder of the disk image
constexpr int32_t kImageVolumeSeconds = 30;  // the longest wait for the volume that the image mounts
constexpr int kCommandTries = 10;
constexpr size_t kCommandRoom = 2048;      // after the head of a command of the setup
constexpr size_t kImagePunctuation = 2;    // '/' and '"' of the first command
constexpr size_t kPackagePunctuation = 6;  // '/', ".pkg" and '"' of the second
constexpr size_t kMessageSize = 2048;      // as much as the log shows

bool IsEmpty(const char* text) {
    return text == nullptr || text[0] == '\0';
}

bool IsTrimmed(char c) {
    return c == ' ' || c == '[' || c == ']' || c == '\n' || c == '\r';
}

// Logs `message` under the name `function` and returns false, so that a function can end with it.
bool Fail(const char* function, const char* message) {
    Log(kSource, function, "%s", message);
    return false;
}

// Whether a directory of that name can be opened now.
bool CanOpenDirectory(const char* path) {
    DIR* directory = opendir(path);
    if (directory == nullptr) return false;
    closedir(directory);
    return true;
}

}  // namespace

// ---- The scanner

int64_t TrimKey(char* pKey) {
    Log(kSource, "TrimKey", "TrimKey Enter");
    if (pKey == nullptr) {
        Log(kSource, "TrimKey", "TrimKey exit key is NULL");
        return -1;
    }
    const char* begin = pKey;
    while (IsTrimmed(*begin)) ++begin;
    if (*begin == '\0') {
        pKey[0] = '\0';
        Log(kSource, "TrimKey", "TrimKey exit success");
        return 0;
    }
    const char* end = begin + strlen(begin);
    while (IsTrimmed(end[-1])) --end;
    const auto length = static_cast<size_t>(end - begin);
    memmove(pKey, begin, length);
    pKey[length] = '\0';
    return static_cast<int64_t>(length);  // Kept: no exit message here, unlike for an empty result.
}

namespace {

bool StandsBetweenBrackets(const char* line, const char* name, int64_t length) {
    if (line == nullptr || name == nullptr || length < 0 || static_cast<size_t>(length) > strlen(name))
        return false;
    const char* before = name;
    while (before > line && before[-1] == ' ') --before;
    if (before == line || before[-1] != '[') return false;
    const char* after = name + length;
    while (*after == ' ') ++after;
    return *after == ']';
}

}  // namespace

bool IsPrimaryKey(const char* szTmp, const char* pPos, int64_t nKeyLen) {
    Log(kSource, "IsPrimaryKey", "IsPrimaryKey Enter");
    const bool isPrimary = StandsBetweenBrackets(szTmp, pPos, nKeyLen);
    Log(kSource, "IsPrimaryKey", "%s", isPrimary ? "IsPrimaryKey exit true" : "IsPrimaryKey exit false");
    return isPrimary;
}

namespace {

constexpr int64_t kNotFound = -1;

// Seeks back to the line that ended the search, logs `message` or "fseek error", and returns kNotFound.
int64_t SeekBackAndFail(FILE* stream, long lineStart, const char* message) {
    Log(kSource, "ReadKeyValue", "%s", fseek(stream, lineStart, SEEK_SET) == 0 ? message : "fseek error");
    return kNotFound;
}

// The first '=' after the key, or null when the line ends before one.
char* FindEquals(char* afterKey) {
    char* p = afterKey + strcspn(afterKey, "=\r\n");
    return *p == '=' ? p : nullptr;
}

// Copies the value, trimmed, into `output`. False when its length reaches the limit: `output` is then empty,
// and the limit is the size needed.
bool TakeValue(char* value, char* output, int32_t size, int64_t* limit) {
    const int64_t length = TrimKey(value);
    if (limit != nullptr && length >= *limit) {
        *limit = length + 1;
        output[0] = '\0';
        return false;
    }
    velmar::strncpy_s(output, static_cast<size_t>(size), value, static_cast<size_t>(size) - 1);
    return true;
}

}  // namespace

int64_t ReadKeyValue(FILE* pFile, char* pKeyIOValue, int32_t nSize, int64_t* pLen, bool bSection) {
    Log(kSource, "ReadKeyValue", "ReadKeyValue Enter");
    if (pFile == nullptr || pKeyIOValue == nullptr || nSize < 1 || pKeyIOValue[0] == '\0') {
        Log(kSource, "ReadKeyValue", "ReadKeyValue exit failed");
        return kNotFound;
    }
    Log(kSource, "ReadKeyValue", "pKeyIOValue=%s", pKeyIOValue);
    const int64_t nKeyLen = TrimKey(pKeyIOValue);
    // GCOVR_EXCL_START: only for null
    if (nKeyLen == -1) {
        Log(kSource, "ReadKeyValue", "TrimKey error!");
        return kNotFound;
    }
    // GCOVR_EXCL_STOP
    long lineStart = ftell(pFile);
    if (lineStart == -1) {
        Log(kSource, "ReadKeyValue", "ftell error");
        return kNotFound;
    }
    // Seeking to the current position lets stdio cache the offset, which spares ftell an lseek per line. Not
    // at the end of the file: it would clear that mark.
    if (feof(pFile) == 0) fseeko(pFile, lineStart, SEEK_SET);

    char szTmp[kBufferSize];
    while (fgets(szTmp, sizeof szTmp, pFile) != nullptr) {
        if (!bSection && strpbrk(szTmp, "[]") != nullptr)
            return SeekBackAndFail(pFile, lineStart, "pPos == '[' or pPos == ']', ReadKeyValue exit failed");

        // Kept: found anywhere in the line, so "OLD_NAME=" is a line of "NAME"; a header counts only if the
        // name's first occurrence in the line is the one in brackets.
        char* pPos = strstr(szTmp, pKeyIOValue);
        if (pPos != nullptr && bSection && IsPrimaryKey(szTmp, pPos, nKeyLen)) {
            Log(kSource, "ReadKeyValue", "find szTmp=%s is key and pPos=%s, and ReadKeyValue exit", szTmp,
                pPos);
            return lineStart;
        }
        char* equals = pPos != nullptr && !bSection ? FindEquals(pPos + nKeyLen) : nullptr;
        if (equals != nullptr) {
            if (!TakeValue(equals + 1, pKeyIOValue, nSize, pLen))
                return SeekBackAndFail(pFile, lineStart,
                                       "pKeyIOValue's space is small, ReadKeyValue exit failed");
            const int64_t lPos = lineStart + (equals + 1 - szTmp);
            // Kept: logged as an int, which beyond 2 GB shows only the offset's low half.
            Log(kSource, "ReadKeyValue", "lPos == %d, ReadKeyValue exit true", static_cast<int>(lPos));
            return lPos;
        }

        lineStart = ftell(pFile);
        if (lineStart == -1) {
            Log(kSource, "ReadKeyValue", "ftell error in while");
            return kNotFound;
        }
        szTmp[0] = '\0';
    }
    Log(kSource, "ReadKeyValue", "ReadKeyValue exit failed");
    return kNotFound;
}

namespace {

// Looks up a section or key from the stream's current position;
// `buffer` then holds the value. Returns its offset, or -1.
int64_t LookUp(FILE* stream, char* buffer, size_t size, const char* name, int64_t* limit, bool isSection) {
    if (strlen(name) > size - 1) return kNotFound;
    velmar::strncpy_s(buffer, size, name, size - 1);
    return ReadKeyValue(stream, buffer, static_cast<int32_t>(size), limit, isSection);
}

}  // namespace

bool IsKeyValueCaseEqual(const char* pFileName, const char* pSection, const char* pKey, const char* pValue) {
    Log(kSource, "IsKeyValueCaseEqual", "IsKeyValueCaeEqual Enter");
    if (pFileName == nullptr || pSection == nullptr || pKey == nullptr || pValue == nullptr)
        return Fail("IsKeyValueCaseEqual", "IsKeyValueCaseEqual exit failed");
    FILE* stream = fopen(pFileName, "r");
    if (stream == nullptr) {
        Log(kSource, "IsKeyValueCaseEqual", "open %s failed, IsKeyValueCaseEqual exit failed", pFileName);
        return false;
    }
    char value[kBufferSize] = {};
    int64_t limit = kBufferSize;
    const bool isFound = LookUp(stream, value, sizeof value, pSection, &limit, true) >= 0 &&
                         LookUp(stream, value, sizeof value, pKey, &limit, false) >= 0;
    fclose(stream);
    if (!isFound) return Fail("IsKeyValueCaseEqual", "IsKeyValueCaseEqual exit failed");
    Log(kSource, "IsKeyValueCaseEqual", "IsKeyValueCaseEqual exit");
    return strcasecmp(value, pValue) == 0;
}

// ---- Volumes

namespace {

// Prefix and name in a heap block that the caller frees; null when out of memory.
char* JoinPath(const char* prefix, const char* name) {
    const size_t lengths = strlen(prefix) + strlen(name);
    auto* path = static_cast<char*>(malloc(lengths + 1));
    if (path == nullptr) return nullptr;
    velmar::memset_s(path, lengths + 1, 0, lengths + 1);
    velmar::strncpy_s(path, lengths + 1, prefix, lengths);
    velmar::strncat_s(path, lengths + 1, name, lengths - strlen(path));
    return path;
}

// Looks for the directory until it can be opened or the time is up. `joined` is only logged.
bool PollDirectory(const char* path, const char* joined, int32_t testTime) {
    for (int64_t waited = 0; waited < testTime; waited += kPollSeconds) {
        const int seconds = static_cast<int>(waited);
        if (CanOpenDirectory(path)) {
            Log(kSource, "IsVolumeExist", "opertor %d time, IsVolumeExist exit true", seconds);
            return true;
        }
        // Kept: this message counts attempts, the one above seconds.
        Log(kSource, "IsVolumeExist", " %d time, open (%s) failed, open again", seconds / kPollSeconds,
            joined);
        sleep(kPollSeconds);
    }
    return Fail("IsVolumeExist", "IsVolumeExist exit false");
}

}  // namespace

bool IsVolumeExist(const char* pName, const char* pPrefix, int32_t testTime) {
    // Kept: a null name is refused before the function says that it was entered.
    if (pName == nullptr) return Fail("IsVolumeExist", "param error");
    Log(kSource, "IsVolumeExist", "IsVolumeExist Enter");
    if (testTime <= 0) return Fail("IsVolumeExist", "testTime <= 0, can't check.");
    // Kept: stays null without a prefix, so the log shows "(null)" instead of the path.
    char* joined = nullptr;
    if (!IsEmpty(pPrefix)) {
        joined = JoinPath(pPrefix, pName);
        if (joined == nullptr) return Fail("IsVolumeExist", "malloc failed, IsVolumeExist exit failed");
    }
    const char* path = joined != nullptr ? joined : pName;
    const bool exists = path[0] != '\0' ? PollDirectory(path, joined, testTime)
                                        : Fail("IsVolumeExist", "IsVolumeExist exit false");
    free(joined);
    return exists;
}

namespace {

constexpr size_t kNumberSize = 8;                  // seven digits
constexpr size_t kNumberedRoom = 1 + kNumberSize;  // with the space before it

// A path under construction: prefix, spaced name and, after a space, a number.
struct VolumePath {
    char* text;         // `size` bytes of the heap, zero-filled
    size_t size;        // prefix + 2 * name + kNumberedRoom
    size_t prefix;      // length of the prefix
    size_t nameRoom;    // 2 * name: the spaced name stays below it
    size_t spacedName;  // length of the spaced name
};

bool FailVolumeNotFound(const char* path) {
    Log(kSource, "GetTempVolumeName", "Error pVPStr=%s, is not exist, GetTempVolumeName exit false", path);
    return false;
}

// "ThirdPartySetup" becomes "Third Party Setup". Returns the length.
size_t WriteSpacedName(char* to, const char* name) {
    char* const begin = to;
    *to++ = name[0];
    for (size_t i = 1; name[i] != '\0'; ++i) {
        if (name[i] >= 'A' && name[i] <= 'Z' && name[i - 1] != ' ') *to++ = ' ';
        *to++ = name[i];
    }
    *to = '\0';
    return static_cast<size_t>(to - begin);
}

// Writes the number after the spaced name and its space; false when there is no room for it.
bool WriteNumber(const VolumePath& path, int32_t number) {
    char digits[kNumberSize];
    const int length = velmar::snprintf_s(digits, sizeof digits, sizeof digits - 1, "%d", number);
    // GCOVR_EXCL_START: the path has room for eight digits, and nobody mounts ten million volumes
    if (length < 0 || path.spacedName + static_cast<size_t>(length) + 1 >= path.size - path.prefix)
        return false;
    // GCOVR_EXCL_STOP
    const size_t at = path.prefix + path.spacedName + 1;
    velmar::strncpy_s(path.text + at, path.size - at, digits, path.size - at - 1);
    return true;
}

// Picks the last of the unbroken run of numbered volumes, which are mounted one after the other.
bool ChooseNewestVolume(const VolumePath& path) {
    const size_t nameEnd = path.prefix + path.spacedName;
    path.text[nameEnd] = ' ';
    int32_t found = 0;
    for (;; ++found) {
        // GCOVR_EXCL_START: a number always has room
        if (!WriteNumber(path, found + 1))
            return Fail("GetTempVolumeName", "pVPStr's space is small, GetTempVolumeName exit false");
        // GCOVR_EXCL_STOP
        if (!CanOpenDirectory(path.text)) break;
    }
    if (found > 0)
        WriteNumber(path, found);
    else
        path.text[nameEnd] = '\0';
    return true;
}

// The steps of GetTempVolumeName that need the path's block.
bool FindTempVolume(VolumePath* path, char* pVPStr, int32_t nSize, int64_t* pLen, int32_t testTime) {
    path->spacedName = WriteSpacedName(path->text + path->prefix, pVPStr);
    // GCOVR_EXCL_BR_START: the name's first character gets no space, so there is always room
    if (!IsVolumeExist(path->text, nullptr, testTime) || path->spacedName >= path->nameRoom)
        return FailVolumeNotFound(path->text);
    if (!ChooseNewestVolume(*path)) return false;
    // GCOVR_EXCL_BR_STOP

    const auto length = static_cast<int64_t>(strlen(path->text));
    if (length >= *pLen) {
        *pLen = length + 1;
        Log(kSource, "GetTempVolumeName", "pVPStr's space is small");
        return FailVolumeNotFound(path->text);  // Kept: logged here as well, although the volume does exist.
    }
    velmar::strncpy_s(pVPStr, static_cast<size_t>(nSize), path->text, static_cast<size_t>(nSize) - 1);
    return true;
}

}  // namespace

bool GetTempVolumeName(char* pVPStr, int32_t nSize, int64_t* pLen, const char* pPrefix, int32_t testTime) {
    // Kept: a null limit is refused before the function says that it was entered.
    if (pLen == nullptr) return Fail("GetTempVolumeName", "param error");
    Log(kSource, "GetTempVolumeName", "GetTempVolumeName Enter");
    if (IsEmpty(pVPStr)) return false;  // also for a positive nSize: there is no name to look for

    const size_t nameLength = strlen(pVPStr);
    VolumePath path = {};
    path.prefix = IsEmpty(pPrefix) ? 0 : strlen(pPrefix);
    path.nameRoom = 2 * nameLength;
    path.size = path.prefix + path.nameRoom + kNumberedRoom;
    path.text = static_cast<char*>(malloc(path.size));
    if (path.text == nullptr) return false;
    velmar::memset_s(path.text, path.size, 0, path.size);
    if (path.prefix > 0) velmar::strncpy_s(path.text, path.size, pPrefix, path.size - 1);

    const bool isFound = FindTempVolume(&path, pVPStr, nSize, pLen, testTime);
    free(path.text);
    if (isFound)
        Log(kSource, "GetTempVolumeName", "volumeName is %s, GetTempVolumeName exit success", pVPStr);
    return isFound;
}

// ---- The third-party setup

namespace {

struct SetupRun {
    FILE* file;           // the setup file
    const char* head;     // of each command, opening quote included
    const char* volumes;  // the volumes folder with its '/'
    int64_t limit;        // the length that values must stay below
    int64_t setupOffset;  // of the SD_THIRD_SETUP value in the file
    char* command;        // commandSize bytes, allocated before the first command
    size_t commandSize;
    char szKeyOrValue[kBufferSize];  // in turn: SD_THIRD_SETUP, the folder, the base name,
                                     // the volume's path, SD_RUN_THIRD_FILE_ONCE
    char szFileName[kFileNameSize];  // the disk image; later its base name
};

int64_t LookUpSetupKey(SetupRun* run, const char* name, bool isSection = false) {
    return LookUp(run->file, run->szKeyOrValue, sizeof run->szKeyOrValue, name, &run->limit, isSection);
}

// Finds a setup that is still to be run, and records the offset of its value. False when there is none.
bool FindPendingSetup(SetupRun* run) {
    if (LookUpSetupKey(run, "[SD_THIRDPARTY_SETUP]", true) < 0)
        return Fail("RunSDProgram",
                    "szKeyOrValue=[SD_THIRDPARTY_SETUP], ReadKeyValue false, RunSDProgram exit false");
    run->setupOffset = LookUpSetupKey(run, "SD_THIRD_SETUP");
    if (run->setupOffset < 0)
        return Fail("RunSDProgram",
                    "szKeyOrValue=SD_THIRD_SETUP, ReadKeyValue false, RunSDProgram exit false");
    if (strcasecmp(run->szKeyOrValue, "yes") != 0)
        return Fail("RunSDProgram", "SD_THIRD_SETUP is not yes, not run SD Program, RunSDProgram exit");
    return true;
}

bool WaitForImageFolder(SetupRun* run) {
    if (LookUpSetupKey(run, "SD_THIRD_FILE_PATH") < 0)
        return Fail("RunSDProgram", "SD_THIRD_FILE_PATH read false, RunSDProgram exit");
    if (!IsVolumeExist(run->szKeyOrValue, run->volumes, kFolderSeconds)) {
        Log(kSource, "RunSDProgram", "%s is not exist, RunSDProgram exit", run->szKeyOrValue);
        return false;
    }
    return true;
}

bool AllocateCommand(SetupRun* run) {
    run->commandSize = strlen(run->head) + kCommandRoom;
    run->command = static_cast<char*>(malloc(run->commandSize));
    if (run->command == nullptr) return Fail("RunSDProgram", "malloc failed, RunSDProgram exit false");
    velmar::memset_s(run->command, run->commandSize, 0, run->commandSize);
    return true;
}

// Kept: the command is logged as a format of its own, so a '%' in a path is read as a
// directive. There are no arguments; every value that a directive asks for is 0 or null.
bool RunCommand(const SetupRun& run) {
    char message[kMessageSize];
    velmar::format_without_arguments_s(message, sizeof message, sizeof message - 1, run.command);
    Log(kSource, "RunSDProgram", "%s", message);
    return RunShellProgram(run.command, kCommandTries);
}

bool OpenDiskImage(SetupRun* run) {
    velmar::memset_s(run->szFileName, sizeof run->szFileName, 0, sizeof run->szFileName);
    // Kept: the limit is still that of the larger buffer,
    // so a name too long for this one is cut, not refused.
    if (LookUp(run->file, run->szFileName, sizeof run->szFileName, "SD_THIRD_FILE_NAME", &run->limit, false) <
        0)
        return Fail("RunSDProgram", "SD_THIRD_FILE_NAME read false, RunSDProgram exit false");

    const char* folder = run->szKeyOrValue;
    if (strlen(run->head) + strlen(run->volumes) + strlen(folder) + strlen(run->szFileName) +
            kImagePunctuation >=
        run->commandSize)
        return Fail("RunSDProgram", "filename or path is too long to can't open, RunSDProgram exit false");
    velmar::snprintf_s(run->command, run->commandSize, run->commandSize - 1, "%s%s%s/%s\"", run->head,
                       run->volumes, folder, run->szFileName);
    if (!RunCommand(*run))
        return Fail("RunSDProgram", "first RunShellProgram failed, RunSDProgram exit fals ");
    return true;
}

// Cuts the name at its last '.', unless that is its first character.
void CutExtension(char* name) {
    char* dot = strrchr(name, '.');
    if (dot != nullptr && dot != name) *dot = '\0';
}

bool OpenPackage(SetupRun* run) {
    CutExtension(run->szFileName);
    run->limit =
        static_cast<int64_t>(kBufferSize) - static_cast<int64_t>(strlen(run->head));  // may be negative
    velmar::strncpy_s(run->szKeyOrValue, sizeof run->szKeyOrValue, run->szFileName,
                      sizeof run->szKeyOrValue - 1);
    if (!GetTempVolumeName(run->szKeyOrValue, sizeof run->szKeyOrValue, &run->limit, run->volumes,
                           kImageVolumeSeconds))
        return Fail("RunSDProgram", "GetTempVolumeName failed,  RunSDProgram exit false");

    const char* volume = run->szKeyOrValue;
    // GCOVR_EXCL_START: after the head there is more room than the two buffers can fill
    if (strlen(run->head) + strlen(volume) + strlen(run->szFileName) + kPackagePunctuation >=
        run->commandSize)
        return Fail("RunSDProgram", "SDProgram's name is too long to can't run, RunSDProgram exit false");
    // GCOVR_EXCL_STOP
    velmar::snprintf_s(run->command, run->commandSize, run->commandSize - 1, "%s%s/%s.pkg\"", run->head,
                       volume, run->szFileName);
    if (!RunCommand(*run))
        return Fail("RunSDProgram", "second RunShellProgram failed,  RunSDProgram exit false");
    return true;
}

// Overwrites the three bytes after the '=' of SD_THIRD_SETUP; fclose writes them out.
bool MarkSetupDone(const SetupRun& run) {
    if (fseek(run.file, static_cast<long>(run.setupOffset), SEEK_SET) != 0)
        return Fail("RunSDProgram", "fseek error.");
    if (fputs("No", run.file) == EOF) return Fail("RunSDProgram", "fputc error.");
    if (fputc('\0', run.file) == EOF) return Fail("RunSDProgram", "fputc error.");
    Log(kSource, "RunSDProgram",
        "Have change value of SD_THIRD_SETUP to No, next time will not run SDProgram");
    return true;
}

}  // namespace

bool RunSDProgram(const char* pSetupFile, const char* pCmdPrefix, const char* pVolumePrefix) {
    Log(kSource, "RunSDProgram", "RunSDProgram Enter");
    if (IsEmpty(pSetupFile) || IsEmpty(pCmdPrefix) || IsEmpty(pVolumePrefix))
        return Fail("RunSDProgram", "cmd is 0, can't run cmd, RunSDProgram exit false");
    SetupRun run = {};
    run.limit = kBufferSize;
    run.head = pCmdPrefix;
    run.volumes = pVolumePrefix;
    // Kept: opened for writing too, so a file that cannot be written counts as missing.
    run.file = fopen(pSetupFile, "r+");
    if (run.file == nullptr) {
        Log(kSource, "RunSDProgram", "open file [%s] failed, RunSDProgram exit false", pSetupFile);
        return false;
    }
    fcntl(fileno(run.file), F_SETFD, FD_CLOEXEC);  // the commands below must not inherit it

    bool isDone = FindPendingSetup(&run) && WaitForImageFolder(&run) && AllocateCommand(&run) &&
                  OpenDiskImage(&run) && OpenPackage(&run);
    if (isDone && LookUpSetupKey(&run, "SD_RUN_THIRD_FILE_ONCE") < 0)
        isDone = Fail("RunSDProgram", "SD_RUN_THIRD_FILE_ONCE read false, RunSDProgram exit false");
    // Kept: a mark that fails leaves the file open and the command allocated.
    if (isDone && strcasecmp(run.szKeyOrValue, "yes") == 0 && !MarkSetupDone(run)) return false;

    free(run.command);
    fclose(run.file);
    if (isDone) Log(kSource, "RunSDProgram", "run SDProgram success, RunSDProgram exit");
    return isDone;
}

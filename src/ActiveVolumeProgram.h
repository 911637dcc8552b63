// The setup-file scanner, the wait for volumes, and the one-time third-party setup. Each function logs, as
// "src/ActiveVolumeProgram", its name with " Enter" (IsKeyValueCaseEqual spells itself "IsKeyValueCaeEqual"
// there) and one message per exit, except where its comment says otherwise.
#pragma once

#include <cstdint>
#include <cstdio>

// Trims spaces, '[', ']', line feeds and carriage returns (no tabs) off both ends of `pKey`, in place.
// Returns the length that is left, or -1 for null. Logs an exit only for null and for an empty result.
int64_t TrimKey(char* pKey);

// Whether the name of `nKeyLen` characters found at `pPos` in the line `szTmp` is between '[' and ']',
// ignoring spaces. False for null or a negative length.
bool IsPrimaryKey(const char* szTmp, const char* pPos, int64_t nKeyLen);

// Looks, from the current position of `pFile`, for the section header (bSection) or the key that `pKeyIOValue` (capacity
// `nSize` bytes) names; the name is trimmed in place. Lines are read in pieces of at most 1,023 characters.
//   Section: returns the file offset, in bytes, of its line; the stream is left after that line.
//   Key: returns the offset of the byte after its '='; `pKeyIOValue` holds the trimmed value (cut to nSize -
//   1 characters), and the stream is left after the line. A line that contains '[' or ']' ends the search.
//   Kept: the key is found anywhere before a '=', so "OLD_NAME=" and "NAME_OLD=" are lines of the key "NAME",
//   too.
// Returns -1 on failure. With a null or empty argument or a size below 1 nothing changes. Else the stream
// stands at the end of the file, at the start of the bracketed line, or, when the value's length reaches the
// limit *pLen, at the start of the key's line: then *pLen is the size needed (length plus 1) and
// `pKeyIOValue` is empty; otherwise it holds the trimmed name. After a seek or a query of the offset that
// failed, the stream is wherever that left it. A null `pLen` means no limit. Also logs the name that it looks
// for.
int64_t ReadKeyValue(FILE* pFile, char* pKeyIOValue, int32_t nSize, int64_t* pLen, bool bSection);

// Whether `pKey` of `pSection` in the file has the value `pValue`, regardless of case. False on every failure,
// and for a section or key of more than 1,023 characters.
bool IsKeyValueCaseEqual(const char* pFileName, const char* pSection, const char* pKey, const char* pValue);

// Whether the directory pPrefix + pName (or pName, for a null or empty prefix) can be opened within
// `testTime` seconds; tries every 2 seconds, and also sleeps after the last failure. False at once for a
// `testTime` below 1, and for a null name, which logs only "param error". Logs each failed try as well.
bool IsVolumeExist(const char* pName, const char* pPrefix, int32_t testTime);

// Finds the volume that a disk image mounts. In: `pVPStr` (capacity `nSize` bytes) is the image's base
// name, `pPrefix` the folder of volumes with its trailing '/'. The volume's name has a space before
// each capital ("Third Party Setup"), except at the start and after a space; after a wait of up to
// `testTime` seconds for it, the highest of the unbroken run of numbered copies " 1", " 2", ... is
// taken. True with the whole path in `pVPStr`. Otherwise false, with `pVPStr` unchanged; a path whose
// length reaches the limit *pLen sets *pLen to the size needed, and logs two messages at the exit. A
// null `pLen` logs only "param error"; an empty name and a lack of memory log nothing at the exit.
bool GetTempVolumeName(char* pVPStr, int32_t nSize, int64_t* pLen, const char* pPrefix, int32_t testTime);

// Runs the third-party setup that section [SD_THIRDPARTY_SETUP] of `pSetupFile` names, if SD_THIRD_SETUP is
// "yes": opens the disk image, waits for its volume, opens the package on it, and, if SD_RUN_THIRD_FILE_ONCE
// is "yes", writes "No" and a NUL over the first three bytes of the SD_THIRD_SETUP value; the file keeps its
// length. `pCmdPrefix` is the head of each command up to and including the opening quote, `pVolumePrefix` the
// volumes folder with its trailing '/'. True when all of that was done; false on any failure and when there
// is nothing to run. Logs each command as well. Blocks for up to 180 + 30 seconds of waiting for folders, and
// for 10 tries of each command.
// Kept: a mark that cannot be written leaves the file open and a buffer allocated.
bool RunSDProgram(const char* pSetupFile, const char* pCmdPrefix, const char* pVolumePrefix);

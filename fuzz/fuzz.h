// What the targets share: the input, the checks, and the daemon's files.
#pragma once

#include <strings.h>

#include <algorithm>

#include "tests/fakes.h"

using namespace fakes;

inline void Require(bool holds, const string& what) {
    if (!holds) fprintf(stderr, "wrong: %s\n", Shown(what).c_str()), abort();
}

// The fuzzer's input. Each call takes something off its front; once it is used up, a zero or an empty text.
struct Input {
    std::string_view left;

    size_t Below(size_t limit) {
        const size_t number = left.empty() ? 0 : static_cast<unsigned char>(left[0]) % limit;
        left.remove_prefix(!left.empty());
        return number;
    }
    string Text() {  // up to a byte 0x01, or to the end
        const string text(left.substr(0, left.find('\x01')));
        left.remove_prefix(std::min(text.size() + 1, left.size()));
        return text;
    }
};
void Try(Input* input);  // each target has its own

// Makes a fresh machine with some volumes and this setup file.
inline void Prepare(std::string_view setup) {
    MakeMachine();
    MakeVolumes();
    Write(kSetup, string(setup));
}

// Makes a call, which may change nothing in the setup file but the three bytes of the mark, where a "yes" was;
// may leave only the open file and the command of each mark that failed; and must run no setup after a mark.
inline void KeepsSetup(const std::function<void()>& call) {
    string before = Read(kSetup), left;
    const string happened = Happened(call), after = Read(kSetup), held = TakeHeld();
    const string head = "\nActiveVolumeProgram:RunSDProgram --- ";
    const int failed = Count(happened, head + "fseek error.") + Count(happened, head + "fputc error.");
    for (int i = 0; i < failed; ++i) left = "block of 2054\n" + left + "stream " + kSetup + "\n";
    Require(held == left, held);
    const size_t marked = happened.find(head + "Have change value");
    Require(marked == string::npos || happened.find("\n* system open \"", marked) == string::npos, happened);
    if (after == before) return;
    const auto difference = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    const auto at = static_cast<size_t>(difference.first - before.begin());
    const size_t key = before.rfind("SD_THIRD_SETUP", at), value = before.find_first_not_of(" \r", at);
    Require(key < at && before.find('\n', key) > at && before[at - 1] == '=' &&
                strncasecmp(before.c_str() + value, "yes", 3) == 0 && before.replace(at, 3, "No", 3) == after,
            after);
}

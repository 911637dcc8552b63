// The memory and string functions: calls one after the other on one piece of memory, held against the model.
#include "fuzz.h"
#include "tests/memory_model.h"

using namespace velmar;

void Try(Input* input) {
    constexpr size_t kSize = 24, kNumbers[] = {model::kLimit, model::kLimit + 1, SIZE_MAX};
    string ours = "abcdefghijklmnopqrstuvwx" + string(2 * kSize, '\0'), copy = ours;
    while (!input->left.empty()) {
        const size_t function = input->Below(4), to = input->Below(kSize + 1), from = input->Below(kSize + 1);
        size_t destMax = input->Below(kSize + 4 - to), count = input->Below(36);
        if (destMax > kSize - to) destMax = kNumbers[1 + destMax % 2];
        if (count > 32) count = kNumbers[count - 33];
        const int byte = static_cast<int>(count % 3) * 0x155;
        const auto call = [&](string& memory, bool isModel) {
            char* dest = to < kSize ? memory.data() + to : nullptr;
            const char* src = from < kSize ? memory.data() + from : nullptr;
            switch (function) {
                case 0:
                    return isModel ? model::Fill(dest, destMax, byte, count)
                                   : memset_s(dest, destMax, byte, count);
                case 1:
                    return isModel ? model::CopyBytes(dest, destMax, src, count)
                                   : memcpy_s(dest, destMax, src, count);
                case 2: return (isModel ? model::Copy : strncpy_s)(dest, destMax, src, count);
                default: return (isModel ? model::Append : strncat_s)(dest, destMax, src, count);
            }
        };
        const int code = call(ours, false);
        Require(code == call(copy, true) && ours == copy, ours + " and not " + copy);
    }
}

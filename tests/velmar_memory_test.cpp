// The header comes before <cerrno> here, and after it in the tests of the formatter.
#include "velmar/velmar.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "guarded.h"
#include "memory_model.h"

using namespace velmar;

namespace {

constexpr size_t kTop = 0x7FFFFFFF;  // the largest capacity and count
constexpr size_t kOver = kTop + 1, kAll = SIZE_MAX;

std::string Shown(std::string memory) {
    std::replace(memory.begin(), memory.end(), '\0', '.');
    return memory;
}

// One call inside a piece of memory that nothing readable follows; `dest` and `src` are places in it, -1
// null. A zero byte is written down as '.'.
struct Row {
    int dest;
    size_t destMax;
    int src;
    size_t count;
    int code;
    std::string after;
};

template <typename Function>
void Check(Function function, const std::string& before, const std::vector<Row>& rows) {
    static Guarded guarded;
    for (const auto& [dest, destMax, src, count, code, after] : rows) {
        char* memory = guarded.Fresh(before.size());
        std::replace_copy(before.begin(), before.end(), memory, '.', '\0');
        const int got =
            function(dest < 0 ? nullptr : memory + dest, destMax, src < 0 ? nullptr : memory + src, count);
        const std::string left = Shown(std::string(memory, before.size()));
        if (got == code && left == after && guarded.OnlyFirst(before.size())) continue;
        ADD_FAILURE() << before << " " << dest << " " << destMax << " " << src << " " << count
                      << "\nexpected " << code << " " << after << "\ngot " << got << " " << left;
    }
}

TEST(VelmarMemory, FillsAndCopiesBytesAndOnFailureTheWholeCapacity) {
    static_assert(EOK == 0 && EINVAL_RESET == 150 && ERANGE_RESET == 162 && EOVERLAP_RESET == 182);
    // The byte to fill with stands where the source stands otherwise.
    const auto fill = [](char* dest, size_t destMax, const char* byte, size_t count) {
        return memset_s(dest, destMax, *byte - 0x100, count);
    };
    const std::vector<Row> fills = {
        {0, 3, 3, 2, 0, "xxcx"},      {0, 3, 3, 3, 0, "xxxx"},    {0, 3, 3, 0, 0, "abcx"},
        {0, 0, 3, 0, 0, "abcx"},      {0, kTop, 3, 1, 0, "xbcx"}, {0, 2, 3, 3, 162, "xxcx"},
        {0, 2, 3, kAll, 162, "xxcx"}, {0, 0, 3, 1, 34, "abcx"},   {0, kOver, 3, 1, 34, "abcx"},
        {0, kAll, 3, 0, 34, "abcx"},  {-1, 0, 3, 0, 34, "abcx"},  {-1, 3, 3, 2, 22, "abcx"},
        {-1, 3, 3, 4, 22, "abcx"},
    };
    Check(fill, "abcx", fills);
    const std::vector<Row> copies = {
        {0, 4, 5, 2, 0, "fgcdefgh"},    {0, 4, 4, 4, 0, "efghefgh"},      {4, 4, 0, 4, 0, "abcdabcd"},
        {0, kTop, 4, 1, 0, "ebcdefgh"}, {2, 4, 2, 4, 0, "abcdefgh"},      {1, 4, 2, 0, 0, "abcdefgh"},
        {0, 0, 4, 0, 34, "abcdefgh"},   {0, kOver, 4, 1, 34, "abcdefgh"}, {-1, kAll, -1, 1, 34, "abcdefgh"},
        {-1, 4, 4, 2, 22, "abcdefgh"},  {-1, 4, -1, 9, 22, "abcdefgh"},   {0, 4, -1, 0, 150, "....efgh"},
        {0, 4, -1, 9, 150, "....efgh"}, {0, 3, 2, 4, 162, "...defgh"},    {0, 3, 0, kAll, 162, "...defgh"},
        {0, 6, 3, 4, 182, "......gh"},  {3, 5, 0, 4, 182, "abc....."},
    };
    Check(memcpy_s, "abcdefgh", copies);
}

// Where strings end and lie is the business of the model.
TEST(VelmarMemory, ChecksTheArgumentsOfStringsInOrderAndReadsNoFurtherThanItMay) {
    const std::vector<Row> refused = {
        {0, 0, 5, 1, 34, "ab.45xyz"},         {0, kOver, 5, 1, 34, "ab.45xyz"},
        {-1, kAll, -1, kAll, 34, "ab.45xyz"}, {-1, 5, -1, kAll, 22, "ab.45xyz"},
        {-1, 5, 5, 0, 22, "ab.45xyz"},        {0, 5, -1, kAll, 150, ".b.45xyz"},
        {0, 1, -1, 0, 150, ".b.45xyz"},       {0, 5, 5, kOver, 162, ".b.45xyz"},
        {0, 1, 5, kAll, 162, ".b.45xyz"},     {0, 5, -1, 3, 150, ".b.45xyz"},
        {-1, 5, 5, 3, 22, "ab.45xyz"},
    };
    Check(strncpy_s, "ab.45xyz", refused);
    Check(strncat_s, "ab.45xyz", refused);
    Check(strncpy_s, "12345abc",
          {{0, 5, 5, 3, 0, "abc.5abc"}, {0, kTop, 5, 3, 0, "abc.5abc"}, {0, 3, 5, kTop, 162, ".2345abc"}});
    Check(strncat_s, "ab.45xyz",
          {{0, 5, 5, 2, 0, "abxy.xyz"},
           {0, kTop, 5, 2, 0, "abxy.xyz"},
           {0, 5, 5, 3, 162, ".bxyzxyz"},
           {5, 3, 0, 1, 150, "ab.45.yz"}});
}

// Every way two short strings can lie in 16 bytes, by capacity and count.
TEST(VelmarMemory, DoesAsTheModelByteByByteWhereverTheStringsLie) {
    constexpr int kDest = 5;
    for (int place = 0; place < 13 * 4 * 9 && !HasFailure(); ++place) {
        const int src = place % 13, srcEnd = src + place / 13 % 4, destEnd = kDest + place / 13 / 4;
        std::string before = "abcdefghijklmnop";
        before[static_cast<size_t>(srcEnd)] = before[static_cast<size_t>(destEnd)] = '.';
        for (size_t sizes = 0; sizes < 8 * 7; ++sizes) {
            const size_t destMax = 1 + sizes % 8, count = sizes / 8 == 6 ? kTop : sizes / 8;
            const auto check = [&](auto function, auto model) {
                std::string after = before;
                std::replace(after.begin(), after.end(), '.', '\0');
                const int code = model(&after[kDest], destMax, after.data() + src, count);
                Check(function, before, {{kDest, destMax, src, count, code, Shown(after)}});
            };
            check(strncpy_s, model::Copy);
            check(strncat_s, model::Append);
        }
    }
}

}  // namespace

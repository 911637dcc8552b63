// The header comes before <cerrno> here, and after it in the tests of the formatter.
#include "velmar/velmar.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <random>

#include "guarded.h"
#include "memory_model.h"

using namespace velmar;

namespace {

constexpr size_t kTop = 0x7FFFFFFF;  // the largest capacity and count
constexpr size_t kOver = kTop + 1, kAll = SIZE_MAX;

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
        std::string left(memory, before.size());
        std::replace(left.begin(), left.end(), '\0', '.');
        if (got == code && left == after && guarded.OnlyFirst(before.size())) continue;
        ADD_FAILURE() << before << " " << dest << " " << destMax << " " << src << " " << count
                      << "\nexpected " << code << " " << after << "\ngot " << got << " " << left;
    }
}

// By hand what the model could have wrong as well: each code, what is left then, and how far is read.
TEST(VelmarMemory, GivesTheCodesAndReadsNoFurtherThanItMay) {
    static_assert(EOK == 0 && EINVAL_RESET == 150 && ERANGE_RESET == 162 && EOVERLAP_RESET == 182);
    // The byte to fill with stands where the source stands otherwise.
    const auto fill = [](char* dest, size_t destMax, const char* byte, size_t count) {
        return memset_s(dest, destMax, *byte - 0x100, count);
    };
    const std::vector<Row> fills = {{0, 3, 3, 2, 0, "xxcx"},    {0, 0, 3, 0, 0, "abcx"},
                                    {0, kTop, 3, 1, 0, "xbcx"}, {0, 2, 3, kAll, 162, "xxcx"},
                                    {0, 0, 3, 1, 34, "abcx"},   {0, kOver, 3, 1, 34, "abcx"},
                                    {-1, 0, 3, 0, 34, "abcx"},  {-1, 3, 3, 4, 22, "abcx"}};
    Check(fill, "abcx", fills);
    const std::vector<Row> copies = {
        {4, 4, 0, 4, 0, "abcdabcd"},      {0, kTop, 4, 1, 0, "ebcdefgh"},    {2, 4, 2, 4, 0, "abcdefgh"},
        {0, kOver, 4, 1, 34, "abcdefgh"}, {-1, kAll, -1, 1, 34, "abcdefgh"}, {-1, 4, -1, 9, 22, "abcdefgh"},
        {0, 4, -1, 0, 150, "....efgh"},   {0, 3, 0, kAll, 162, "...defgh"},  {3, 5, 0, 4, 182, "abc....."}};
    Check(memcpy_s, "abcdefgh", copies);
    const std::vector<Row> refused = {{0, kOver, 5, 1, 34, "ab.45xyz"},
                                      {-1, kAll, -1, kAll, 34, "ab.45xyz"},
                                      {-1, 5, -1, kAll, 22, "ab.45xyz"},
                                      {0, 5, -1, kAll, 150, ".b.45xyz"},
                                      {0, 5, 5, kOver, 162, ".b.45xyz"}};
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

TEST(VelmarMemory, DoesAsTheModelByteByByte) {
    std::mt19937 random(20090305);
    for (int calls = 0; calls < 300000 && !HasFailure(); calls += 6) {
        std::string input(6 * 5, '\0');
        for (char& byte : input) byte = static_cast<char>(random());
        EXPECT_EQ(model::Difference(input), "");
    }
}

}  // namespace

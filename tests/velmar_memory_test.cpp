// The header comes before <cerrno> here, and after it in the tests of the formatter.
#include "velmar/velmar.h"

#include <gtest/gtest.h>

#include <random>

#include "memory_model.h"

using namespace velmar;

namespace {

static_assert(EOK == 0 && EINVAL_RESET == 150 && ERANGE_RESET == 162 && EOVERLAP_RESET == 182);

TEST(VelmarMemory, DoesAsTheModelByteByByte) {
    std::mt19937 random(20090305);
    for (int calls = 0; calls < 300000 && !HasFailure(); calls += 6) {
        std::string input(6 * 5, '\0');
        for (char& byte : input) byte = static_cast<char>(random());
        EXPECT_EQ(model::Difference(input), "");
    }
}

// Which the model does not try, since a failure would reset so many bytes.
TEST(VelmarMemory, TakesTheLargestCapacity) {
    char text[8] = "abc";
    EXPECT_EQ(memset_s(text, model::kLimit, 'x' - 0x100, 1), EOK);
    EXPECT_STREQ(text, "xbc");
    EXPECT_EQ(memcpy_s(text, model::kLimit, "yz", 1), EOK);
    EXPECT_STREQ(text, "ybc");
    EXPECT_EQ(strncpy_s(text, model::kLimit, "12", 2), EOK);
    EXPECT_EQ(strncat_s(text, model::kLimit, "345", 2), EOK);
    EXPECT_STREQ(text, "1234");
}

TEST(VelmarMemory, AppendsNothingFromBehindTheOverlap) {
    Guarded guarded;
    char* const dest = guarded.Fresh(4);
    memcpy(dest, "a\0bc", 4);  // the source does not end
    EXPECT_EQ(strncat_s(dest, 4, dest + 2, 9), EOVERLAP_RESET);
}

}  // namespace

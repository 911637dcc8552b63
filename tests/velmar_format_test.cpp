#include <cerrno>

#include "velmar/velmar.h"

#include <cfloat>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <tuple>

#include "differential.h"
#include "fakes.h"

using namespace velmar;
using std::string;
using std::tuple;

namespace {

const string kOneOf512 = string(511, '0') + "1";  // the longest text of an integer

// A format, and the text it makes of the values. Without a text, the format is to be refused.
struct Row {
    string format;
    std::optional<string> text = std::nullopt;
};
using Rows = std::initializer_list<Row>;
using Texts = std::initializer_list<const char*>;

// Checks the row in rooms from `from` to `to` characters.
template <typename... Values>
void CheckRooms(size_t from, size_t to, const Row& row, Values... values) {
    const char* const format = row.format.c_str();
    const auto call = [=](char* dest, size_t destMax, size_t count) {
        if constexpr (sizeof...(values) > 0) return snprintf_s(dest, destMax, count, format, values...);
        return format_without_arguments_s(dest, destMax, count, format);
    };
    for (size_t room = from; room <= to; ++room) {
        if (room == 40 && to > 45) room = to - 4;  // long texts around their end
        const string wrong = Wrong(call, row.text, room + 3, room) +
                             Wrong(call, row.text, room + 1, room + 1) +
                             Wrong(call, row.text, room + 1, kAll);
        if (wrong.empty()) continue;
        const bool isStandard = sizeof...(values) > 0 && row.format.find_first_of("INZnpqw") == string::npos;
        ADD_FAILURE() << '"' << format << '"' << wrong
                      << (isStandard ? "\nC library \"" + CLibrary(format, values...) + '"' : "");
        return;
    }
}

// Checks each row with this value, or this tuple of values. Without any, each that a format asks for is 0.
template <typename Given>
void Check(Given given, Rows rows) {
    for (const Row& row : rows) {
        const size_t size = row.text ? row.text->size() : 60;
        const auto check = [&](auto... values) {
            CheckRooms(row.text ? 0 : size, size + 2, row, values...);
            CheckRooms(size + 80, size + 80, row, values...);  // the end is far
        };
        std::apply(check, tuple(given));
    }
}

// Each row's format has its '%' and the size put in front.
template <typename Values>
void CheckSizes(Texts sizes, Values values, Rows rows) {
    for (const string size : sizes)
        for (const Row& row : rows) Check(values, {{"%" + size + row.format, row.text}});
}

// Short rows share a line.
// clang-format off

TEST(VelmarFormat, Integers) {
    Check(42, {{"%%", "%"}, {"a%%%d%%b", "a%42%b"}, {"%d and a longer text", "42 and a longer text"},
               {"caf\xC3\xA9 %d\xFF\x7F\x01", "caf\xC3\xA9 42\xFF\x7F\x01"}, {"%d", "42"}, {"%-05d", "42   "},
               {"% +d", "+42"}, {"% d", " 42"}, {"%+05d", "+0042"}, {"%08.3d", "     042"}, {"%#X", "0X2A"},
               {"%#010.4x", "    0x002a"}});
    Check(0, {{"%d", "0"}, {"%.0d", ""}, {"%5.0d", "     "}, {"%+.0d", "+"}, {"%#x", "0"}, {"%#.0x", ""},
              {"%#.3x", "000"}, {"%#o", "0"}, {"%.0o", ""}, {"%#.0o", "0"}});
    for (long long power = 1; power < 1000000000000000000; power *= 10)
        for (const long long value : {power - 1, power, -power}) {
            Check(value, {{"%lld", std::to_string(value)}});
            Check(static_cast<int>(value), {{"%d", std::to_string(static_cast<int>(value))}});
        }
    Check(INT_MIN, {{"%d", "-2147483648"}, {"abcd%d", "abcd-2147483648"}, {"abcde%d", "abcde-2147483648"}});
    Check(1, {{"%.512d", kOneOf512}, {"%.513d", kOneOf512}, {"%.214748369d", kOneOf512},
              {"%#.700o", kOneOf512}, {"%+.700d", "+" + kOneOf512}, {"%515.700d", "   " + kOneOf512},
              {"%#.700x", "0x" + kOneOf512}});
}

// Each size alone and combined: which one decides what is read.
TEST(VelmarFormat, Sizes) {
    CheckSizes({"l", "ll", "j", "z", "t", "L", "q", "I", "I64", "lh", "hl", "lhh", "hhll", "jz", "NlZ",
                "I32l", "I32I64", "hI", "wt"}, LLONG_MIN,
               {{"d", "-9223372036854775808"}, {"i", "-9223372036854775808"}, {"u", "9223372036854775808"},
                {"o", "1000000000000000000000"}, {"x", "8000000000000000"}, {"X", "8000000000000000"}});
    CheckSizes({"", "I32", "N", "Z", "w", "ZNw", "I64I32"}, INT_MIN,
               {{"i", "-2147483648"}, {"u", "2147483648"}, {"o", "20000000000"}});
    CheckSizes({"h", "Nh", "hz", "th", "jh"}, 0x18000, {{"d", "-32768"}, {"u", "32768"}, {"x", "8000"}});
    CheckSizes({"hh", "hhh", "hhhh", "zhh", "hhj", "I32hh"}, 0x180,
               {{"d", "-128"}, {"u", "128"}, {"o", "200"}});
    CheckSizes({"", "w", "h", "hh", "l", "ll", "j", "z", "I32", "I64"},
               reinterpret_cast<void*>(0xfedcba9876543210), {{"p", "0xfedcba9876543210"}});
    CheckSizes({"h", "hh", "l", "ll", "lll", "j", "z", "t", "w", "I32", "I64", "N", "Z", "hjI64"},
               tuple(3.14159, 7), {{"f %d", "3.141590 7"}});
    CheckSizes({"L", "q", "hL", "Lh", "lq", "LI64", "jLll"}, tuple(3.14159L, 7), {{"f %d", "3.141590 7"}});
    CheckSizes({"", "h", "ll", "L", "I64", "j", "Z"}, "abc", {{"s", "abc"}});
    CheckSizes({"l", "w", "hl", "hw", "Zl"}, L"abc", {{"s", "abc"}, {"S", "abc"}});
    CheckSizes({"h"}, "abc", {{"S", "abc"}});
    CheckSizes({"", "h", "hh", "l", "w", "L", "ll", "wh"}, 'A', {{"c", "A"}, {"C", "A"}});
}

TEST(VelmarFormat, OddDirectives) {
    Check(7L, {{"%5-3d", "7  "}, {"%3-5d", "7    "}, {"%5-d", "7    "}, {"%5-03d", "7  "}, {"%5 0d", " 0007"},
               {"%10-d", "7         "}, {"%5-.2d", "07   "}, {"%.ld", "7"},
               {"%.00000000000000000003d", "007"}, {"%000000000000000000003d", "007"}});
    Check(7, {{"%I %d", "I 7"}, {"%-+5.3I3d%d", "I3d7"}, {"%I6d", "I6d"}, {"%I3", "I3"}, {"%I6", "I6"},
              {"abc%I", "abcI"}, {"%lI", "I"}, {"%II", "II"}, {"%Is%Ip%If", "IsIpIf"}, {"%I%d", "I7"}});
    Check(7LL, {{"%+Id", "+7"}, {"%-5I64d", "7    "}, {"%05I32d", "00007"}});
    Check(tuple(5, 7), {{"%*d", "    7"}, {"%-*d", "7    "}, {"%0*d", "00007"}, {"%*-d", "7    "},
                        {"%*-3d", "7  "}, {"%3-*d", "7    "}, {"%.*d", "00007"}});
    Check(tuple(-5, 7), {{"%*d", "7    "}, {"%0*d", "7    "}, {"%*-7d", "7      "}, {"%.*d", "7"},
                         {"%05.*d", "00007"}, {"%.*5d", "7"}});
    Check(tuple(1, 7), {{"%*1d", "          7"}, {"%*0d", "         7"}, {"%.*1d", "00000000007"},
                        {"%.*0d", "0000000007"}});
    Check(tuple(-1, 7), {{"%*1d", "7          "}});
    Check(tuple(0, 7), {{"%*5d", "    7"}});
    Check(tuple(INT_MIN, 1), {{"%.*d", "1"}, {"%03.*5d", "001"}});
    Check(tuple(INT_MAX, 1), {{"%.*d", kOneOf512}});
    Check(tuple(21474836, "x"), {{"%.*9s", "x"}});
    Check(tuple(21474837, 7), {{"%*0d"}, {"%.*1d"}});
    Check(7, {{"%2147483690d"}, {"%214748370d"}, {"%.214748370d"}, {"%99999999999999999999d"}});
    CheckRooms(0, 18, {"%214748369d", string(20, ' ')}, 7);  // wider than any buffer
    CheckRooms(0, 18, {"%*d", string(20, ' ')}, INT_MAX, 7);
    CheckRooms(0, 18, {"%*d", "7" + string(20, ' ')}, INT_MIN, 7);
}

// After each beginning every character, then a 'd': only these go on with the directive.
TEST(VelmarFormat, DirectivesTakeOnlyTheirCharacters) {
    const auto check = [](Texts beginnings, string characters) {
        characters += "ILNZhjlqtwzCEFGSXcdefgiopsux";
        for (const string beginning : beginnings)
            for (int code = 1; code < 256; ++code) {
                const string format = beginning + static_cast<char>(code) + "d";
                const bool isValid = characters.find(static_cast<char>(code)) != string::npos;
                char text[400];
                const int result = format_without_arguments_s(text, sizeof text, kAll, format.c_str());
                EXPECT_EQ(result >= 0, isValid) << format;
            }
    };
    check({"%"}, "%.*0123456789 #+-");
    check({"%-", "%0"}, ".*0123456789 #+-");
    check({"%5", "%*"}, ".0123456789 #+-");
    check({"%."}, "*0123456789");
    check({"%.5", "%.*"}, "0123456789");
    check({"%h", "%5.5j"}, "");
    Check(tuple(7, 7), {{"abc%"}, {"%-"}, {"%5"}, {"%."}, {"%.5"}, {"%h"}, {"%l"}, {"%hh"}, {"%ll"},
                     {"%I32"}, {"%I64"}, {"%.*"}, {"%d%n"}, {"%d%a"}});
    // Refused with the room's last character; in a smaller room that is never seen. In both lanes.
    for (const string text : {"abc", "more than the fast lane leaves"}) {
        CheckRooms(text.size() - 1, text.size(), {text + "%y"}, 0);
        CheckRooms(0, text.size() - 2, {text + "%y", text}, 0);
    }
}

TEST(VelmarFormat, CharactersStringsAndPointers) {
    Check('A' + 0x300, {{"%5c", "    A"}, {"%05c", "    A"}, {"%-3c", "A  "}, {"%.0c", "A"}});
    Check(0, {{"%c", string(1, '\0')}, {"%-3c", string("\0  ", 3)}, {"%2lc", string(" \0", 2)}});
    Check("abc", {{"%05s", "  abc"}, {"%-5s", "abc  "}, {"%.2s", "ab"}, {"%.s", ""}, {"%4.1s", "   a"},
                  {"%20s and more", "                 abc and more"}});
    Check(L"abc", {{"%5S", "  abc"}, {"%05ls", "  abc"}, {"%-5S", "abc  "}, {"%.2ls", "ab"}});
    Check(nullptr, {{"%s", "(null)"}, {"%.3s", "(nu"}, {"%8s", "  (null)"}, {"%ls", "(null)"},
                    {"%-7.2S", "(n     "}, {"%hS", "(null)"}, {"%p", "(nil)"}, {"%10p", "     (nil)"},
                    {"%010p", "     (nil)"}, {"%-8p", "(nil)   "}, {"%+.9p", "(nil)"}});
    Check(reinterpret_cast<void*>(0x1abc), {{"%p", "0x1abc"}, {"%#10p", "    0x1abc"},
                                            {"%010.9p", "0x00001abc"}, {"%-10p", "0x1abc    "}});
    // No terminator within the precision, and nothing readable after it.
    Guarded guarded;
    Check(memcpy(guarded.Fresh(4), "abcd", 4), {{"%.4s", "abcd"}, {"%5.3s", "  abc"}});
    constexpr size_t kTwo = 2 * sizeof(wchar_t);
    Check(memcpy(guarded.Fresh(kTwo), L"ab", kTwo), {{"%.2ls", "ab"}, {"%-3.1S", "a  "}});
}

// A wide character without a multibyte form leaves nothing, a wide string with one fails the call.
TEST(VelmarFormat, WideCharacters) {
    Check(tuple(0x20AC, 7), {{"[%lc%d]", "[7]"}, {"[%5C%d]", "[7]"}, {"[%-5wc%d]", "[7]"}});
    Check(L"a\u20AC", {{"[%.1ls]", "[a]"}});
    Check(L"a\u20AC", {{"%ls"}, {"%-5.2S"}});
    if (!setlocale(LC_CTYPE, "C.UTF-8") && !setlocale(LC_CTYPE, "en_US.UTF-8")) GTEST_SKIP() << "no UTF-8";
    Check(tuple(0x20AC, 7), {{"%lc%d", "\u20AC7"}, {"%5C%d", "  \u20AC7"}, {"%-5wc%d", "\u20AC  7"}});
    Check(tuple(-1, 7), {{"[%5C%d]", "[7]"}});
    Check(L"a\u20AC\u00E9", {{"%ls", "a\u20AC\u00E9"}, {"%5ls", "  a\u20AC\u00E9"},
                             {"%-5S", "a\u20AC\u00E9  "}, {"%.2ls", "a\u20AC"}});
    setlocale(LC_CTYPE, "C");
}

TEST(VelmarFormat, FloatingPoint) {
    Check(3.14159, {{"%f", "3.141590"}, {"%E", "3.141590E+00"}, {"%g", "3.14159"}, {"%08.2f", "00003.14"},
                    {"%+.2f", "+3.14"}, {"%#.0f", "3."}, {"%.0g", "3"}, {"%5-3f", "3.141590"},
                    {"%5-9.2f", "3.14     "}, {"%9-.2f", "3.14     "}, {"%9 0.2f", " 00003.14"},
                    {"%9-7.2llf", "3.14   "}});
    Check(tuple(8, 2, 3.14159), {{"%-*.*f", "3.14    "}, {"%*-.*f", "3.14    "}, {"%*.*lle", "3.14e+00"}});
    // Left-justified only by a '-'.
    Check(tuple(-8, 2, 3.14159), {{"%*.*f", "    3.14"}, {"%-*.*f", "3.14    "}, {"%0*.*f", "00003.14"}});
    Check(tuple(-1, 3.14159), {{"%.*f", "3.141590"}, {"%.*5f", "3.141590"}, {"%*-9.1f", "3.1      "}});
    Check(tuple(0, 3.14159), {{"%.*f", "3"}, {"%.*g", "3"}, {"%#.*g", "3."}, {"%.*5f", "3.14159"}});
    const auto check = [](const char* format, auto value) {
        const string text = CLibrary(format, value);
        CheckRooms(text.size() - 1, text.size(), {format, text}, value);
    };
    for (const char* directive : {"%f", "%.200f", "%-400f", "%.600f", "%0600f", "%.700g"})
        check(directive, -DBL_MAX);
    for (const char* directive : {"%Lf", "%.600Lf", "%6000Lf"}) check(directive, -LDBL_MAX);
    // A failure; more than was expected; and as much as a decimal point of many bytes can make of it.
    for (const int reported : {-1, 512, 511 + MB_LEN_MAX - 1}) {
        fakes::scene.written = reported;
        Check(tuple(3.14159, 7), {{"[%511f%d]", "[7]"}});
        fakes::scene.written = 0;
    }
}

TEST(VelmarFormat, DirectivesDoNotDisturbOneAnother) {
    Check(tuple(5, 7, 1.25), {{"%*d %f", "    7 1.250000"}, {"%*.9d %.1f", "000000007 1.2"}});
    Check(tuple(2, "abc", 1.25), {{"%.*s %5.1f", "ab   1.2"}, {"%-.*s %e", "ab 1.250000e+00"}});
    Check(tuple(5, 2, 7, 1.25, 9, 2.5, 3.5L), {{"%*.*d %f %*f %Lf", "   07 1.250000  2.500000 3.500000"}});
    Check(tuple(5, 1.25), {{"%*I%g", "I1.25"}});
    Check(tuple(1, 2, 3, 4, 5, 6, L"7", "8"), {{"%-05d%d %#x%x %+d%d %ls%s", "1    2 0x34 +56 78"}});
    // A precision beyond every buffer leaves nothing.
    Check(tuple(2147483299, 1.25, 2.5, 7), {{"%.*f %g %d", " 2.5 7"}, {"%5.*e %g %d", " 2.5 7"}});
    Check(tuple(2147478676, 1.25L, 2.5, 7), {{"%.*Lf %g %d", " 2.5 7"}, {"%.*qG %g %d", " 2.5 7"}});
    Check(tuple('A', "ab", -1, -2LL, 3.0, 4.0L, nullptr, 4, 2, 5, -6, L"cd", 7.0, 5UL, 2, "efg"),
          {{"%c%s%d%lld%f%Lf%p%*.*d%hd%S%g%lu%.*s", "Aab-1-23.0000004.000000(nil)  05-6cd75ef"}});
    // The same without any value.
    Check(tuple(), {{"", ""}, {"100%%", "100%"}, {"%s %8s %S %p", "(null)   (null) (null) (nil)"},
                    {"%d %u%o%x %5lld", "0 000     0"}, {"%f %Lf %*.*f %*d %.*s", "0.000000 0.000000 0 0 "}});
    Check(tuple(), {{"a%n"}, {"a%"}});
}
// clang-format on

TEST(VelmarFormat, RefusesArguments) {
    constexpr size_t kTop = 0x7FFFFFFF, kOver = kTop + 1;
    const std::tuple<size_t, size_t, const char*, string> kRows[] = {
        {0, kAll, nullptr, "12345"},  {kOver, 3, "%d", ".2345"}, {kAll, kAll, "%d", ".2345"},
        {5, 3, nullptr, ".2345"},     {5, kTop, "%d", ".2345"},  {5, kAll - 1, "%d", ".2345"},
        {5, kTop - 1, "%d", "7.34."}, {kTop, 3, "%d", "7.345"},  {kTop, kTop - 1, "%d", "7.345"}};
    for (const auto& [destMax, count, format, left] : kRows) {
        string dest = "12345";
        EXPECT_EQ(snprintf_s(dest.data(), destMax, count, format, 7), left[0] == '7' ? 1 : -1) << destMax;
        std::replace(dest.begin(), dest.end(), '\0', '.');
        EXPECT_EQ(dest, left) << destMax << " " << count;
        EXPECT_EQ(snprintf_s(nullptr, destMax, count, format, 7), -1);
    }
}

// Which blocks are asked for; that a conversion without its blocks prints nothing; that all are freed.
TEST(VelmarFormat, FloatingPointAllocates) {
    const auto check = [](Texts directives, const std::vector<size_t>& sizes, auto... values) {
        for (const string directive : directives) {
            const string format = "[" + directive + "%d]", whole = CLibrary(format.c_str(), values..., 7);
            const auto call = [&](char* dest, size_t destMax, size_t count) {
                return snprintf_s(dest, destMax, count, format.c_str(), values..., 7);
            };
            for (size_t failing = 0; failing <= sizes.size(); ++failing) {  // at first none of them
                fakes::scene = fakes::Scene();
                if (failing > 0) fakes::Fail("malloc", static_cast<int>(failing));
                const string wrong = Wrong(call, failing > 0 ? "[7]" : whole, 6000, kAll);
                EXPECT_EQ(wrong + fakes::TakeHeld(), "") << format << ", failing block " << failing;
                EXPECT_TRUE(failing > 0 || fakes::scene.sizes == sizes) << format;
            }
        }
    };
    check({"%400f", "%.100f", "%.162f", "%511f", "%+++++++++++++f"}, {}, 1.5);
    check({"%.600f", "%.600e", "%900.600G"}, {951}, 1.5);
    check({"%.163f", "%512f"}, {514}, 1.5);
    check({"%*f"}, {602}, 600, 1.5);
    check({"%++++++++++++++f"}, {17}, 1.5);
    check({"%++++++++++.600f"}, {951, 17}, 1.5);
    check({"%Lf"}, {4980}, 1.5L);
    check({"%.*Lf"}, {5574}, 600, 1.5L);
    check({"%.500d%600s"}, {}, 1, "");
}

TEST(VelmarFormat, AgreesWithTheCLibrary) {
    const char* given = getenv("ZERBIN_SEED");
    const uint64_t seed = given ? strtoull(given, nullptr, 0) : 20090305;
    printf("ZERBIN_SEED=%llu\n", static_cast<unsigned long long>(seed));
    EXPECT_EQ(Differential(seed, 5000), 0);
}

}  // namespace

#include <cerrno>

#include "velmar/velmar.h"

#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <sstream>

#include "differential.h"
#include "fakes.h"

using namespace velmar;
using std::string;

namespace {

const string kOneOf512 = string(511, '0') + "1";  // the longest text of an integer

std::vector<string> Split(const string& list) {
    std::vector<string> parts;
    std::istringstream stream(list + "|");
    for (string part; std::getline(stream, part, '|');) parts.push_back(part);
    return parts;
}

// One format, whose text is this or which is refused, in rooms from `from` to `to` characters.
template <typename... Values>
void CheckOne(const string& format, const std::optional<string>& text, size_t from, size_t to,
              Values... values) {
    const auto call = [&](char* dest, size_t destMax, size_t count) {
        if constexpr (sizeof...(values) == 0)
            return format_without_arguments_s(dest, destMax, count, format.c_str());
        else
            return snprintf_s(dest, destMax, count, format.c_str(), values...);
    };
    for (size_t room = from; room <= to; ++room) {
        if (room == 40 && to > 45) room = to - 4;  // long texts around their end
        const string wrong = Wrong(call, text, room + 3, room) + Wrong(call, text, room + 1, room + 1) +
                             Wrong(call, text, room + 1, kAll);
        if (wrong.empty()) continue;
        ADD_FAILURE() << '"' << format << '"' << wrong;
        return;
    }
}

// Each of the formats, which '|' separates, makes of the values the text at the same place. Without any value
// they are formatted as such, each value being 0 or null.
template <typename... Values>
void Check(const string& formats, const string& texts, Values... values) {
    const std::vector<string> format = Split(formats), text = Split(texts);
    ASSERT_EQ(format.size(), text.size()) << formats;
    for (size_t i = 0; i < format.size(); ++i) {
        CheckOne(format[i], text[i], 0, text[i].size() + 2, values...);
        CheckOne(format[i], text[i], text[i].size() + 80, text[i].size() + 80, values...);  // the end is far
    }
}

template <typename... Values>
void CheckRefused(const string& formats, Values... values) {
    for (const string& format : Split(formats)) CheckOne(format, std::nullopt, 60, 61, values...);
}

TEST(VelmarFormat, Integers) {
    Check("%%|a%%%d%%b|caf\xC3\xA9 %d\xFF\x7F\x01|%d and a longer text",
          "%|a%42%b|caf\xC3\xA9 42\xFF\x7F\x01|42 and a longer text", 42);
    Check("%d|%-05d|% +d|%+05d|%08.3d|%#X|%#010.4x", "42|42   |+42|+0042|     042|0X2A|    0x002a", 42);
    Check("%d|%.0d|%5.0d|%+.0d|%#x|%#.0x|%#.3x|%#o|%.0o|%#.0o", "0||     |+|0||000|0||0", 0);
    for (long long power = 1; power < 1000000000000000000; power *= 10)
        for (const long long value : {power - 1, power, -power}) {
            Check("%lld", std::to_string(value), value);
            Check("%d", std::to_string(static_cast<int>(value)), static_cast<int>(value));
        }
    for (const string directive : {"%.512d", "%.700d", "%.214748369d", "%#.700o"})
        Check(directive, kOneOf512, 1);
    Check("%+.700d|%515.700d|%#.700x", "+" + kOneOf512 + "|   " + kOneOf512 + "|0x" + kOneOf512, 1);
}

// Each size by itself and in company: which one decides what is read.
TEST(VelmarFormat, Sizes) {
    const auto check = [](const string& sizes, const string& conversions, const string& texts,
                          auto... values) {
        const auto conversion = Split(conversions), text = Split(texts);
        for (const string& size : Split(sizes))
            for (size_t i = 0; i < text.size(); ++i) Check("%" + size + conversion[i], text[i], values...);
    };
    check("l|ll|j|z|t|L|q|I|I64|lh|hl|lhh|hhll|jz|NlZ|I32l|I32I64|hI|wt", "d|u|x",
          "-9223372036854775808|9223372036854775808|8000000000000000", LLONG_MIN);
    check("|I32|N|Z|w|ZNw|I64I32", "i|u|o", "-2147483648|2147483648|20000000000", INT_MIN);
    check("h|Nh|hz|th|jh", "d|u|x", "-32768|32768|8000", 0x18000);
    check("hh|hhh|hhhh|zhh|hhj|I32hh", "d|u|o", "-128|128|200", 0x180);
    check("|w|h|hh|l|ll|j|z|I32|I64", "p", "0xfedcba9876543210", reinterpret_cast<void*>(0xfedcba9876543210));
    check("h|hh|l|ll|lll|j|z|t|w|I32|I64|N|Z|hjI64", "f %d", "3.141590 7", 3.14159, 7);
    check("L|q|hL|Lh|lq|LI64|jLll", "f %d", "3.141590 7", 3.14159L, 7);
    check("|h|ll|L|I64|j|Z", "s", "abc", "abc");
    check("l|w|hl|hw|Zl", "s|S", "abc|abc", L"abc");
    check("h", "S", "abc", "abc");
    check("|h|hh|l|w|L|ll|wh", "c|C", "A|A", 'A');
}

TEST(VelmarFormat, OddDirectives) {
    Check("%5-3d|%3-5d|%5-d|%5-03d|%5 0d|%10-d|%5-.2d|%.ld|%.00000000000000000003d|%000000000000000000003d",
          "7  |7    |7    |7  | 0007|7         |07   |7|007|007", 7L);
    Check("%I %d|%-+5.3I3d%d|%I6d|%I3|%I6|abc%I|%lI|%II|%Is%Ip%If|%I%d",
          "I 7|I3d7|I6d|I3|I6|abcI|I|II|IsIpIf|I7", 7);
    Check("%+Id|%-5I64d|%05I32d", "+7|7    |00007", 7LL);
    Check("%*d|%-*d|%0*d|%*-d|%*-3d|%3-*d|%.*d", "    7|7    |00007|7    |7  |7    |00007", 5, 7);
    Check("%*d|%0*d|%*-7d|%.*d|%05.*d|%.*5d", "7    |7    |7      |7|00007|7", -5, 7);
    Check("%*1d|%*0d|%.*1d|%.*0d", "          7|         7|00000000007|0000000007", 1, 7);
    Check("%*1d", "7          ", -1, 7);
    Check("%*5d", "    7", 0, 7);
    Check("%.*d|%03.*5d", "1|001", INT_MIN, 1);
    Check("%.*d", kOneOf512, INT_MAX, 1);
    Check("%.*9s", "x", 21474836, "x");
    CheckRefused("%*0d|%.*1d", 21474837, 7);
    CheckRefused("%2147483690d|%214748370d|%.214748370d|%99999999999999999999d", 7);
    // Wider than any buffer.
    CheckOne("%214748369d", string(20, ' '), 0, 18, 7);
    CheckOne("%*d", string(20, ' '), 0, 18, INT_MAX, 7);
    CheckOne("%*d", "7" + string(20, ' '), 0, 18, INT_MIN, 7);
}

// Behind each beginning every character, then a 'd': only these go on with the directive.
TEST(VelmarFormat, DirectivesTakeOnlyTheirCharacters) {
    const auto check = [](const string& beginnings, string characters) {
        characters += "ILNZhjlqtwzCEFGSXcdefgiopsux";
        for (const string& beginning : Split(beginnings))
            for (int code = 1; code < 256; ++code) {
                const string format = beginning + static_cast<char>(code) + "d";
                const bool isValid = characters.find(static_cast<char>(code)) != string::npos;
                char text[400];
                EXPECT_EQ(format_without_arguments_s(text, 400, kAll, format.c_str()) >= 0, isValid)
                    << format;
            }
    };
    check("%", "%.*0123456789 #+-");
    check("%-|%0", ".*0123456789 #+-");
    check("%5|%*", ".0123456789 #+-");
    check("%.", "*0123456789");
    check("%.5|%.*", "0123456789");
    check("%h|%5.5j", "");
    CheckRefused("abc%|%-|%5|%.|%.5|%h|%l|%hh|%ll|%I32|%I64|%.*|%d%n|%d%a", 7, 7);
    // Refused with the room's last character; in a smaller room that is never seen.
    CheckOne("abc%y", std::nullopt, 2, 3, 0);
    CheckOne("abc%y", "abc", 0, 1, 0);
}

TEST(VelmarFormat, CharactersStringsAndPointers) {
    Check("%5c|%05c|%-3c|%.0c", "    A|    A|A  |A", 'A' + 0x300);
    Check("%c|%-3c|%2lc", string("\0|\0  | \0", 8), 0);
    Check("%05s|%-5s|%.2s|%.s|%4.1s|%20s and more", "  abc|abc  |ab||   a|                 abc and more",
          "abc");
    Check("%5S|%05ls|%-5S|%.2ls|%S%%", "  abc|  abc|abc  |ab|abc%", L"abc");
    Check("%s|%.3s|%8s|%ls|%-7.2S|%hS", "(null)|(nu|  (null)|(null)|(n     |(null)", nullptr);
    Check("%p|%10p|%010p|%-8p|%+.9p", "(nil)|     (nil)|     (nil)|(nil)   |(nil)", nullptr);
    Check("%p|%#10p|%010.9p|%-10p|%+.9p", "0x1abc|    0x1abc|0x00001abc|0x1abc    |0x1abc",
          reinterpret_cast<void*>(0x1abc));
    // No terminator within the precision, and nothing readable behind it.
    Guarded guarded;
    Check("%.4s|%5.3s", "abcd|  abc", memcpy(guarded.Fresh(4), "abcd", 4));
    Check("%.2ls|%-3.1S", "ab|a  ", memcpy(guarded.Fresh(2 * sizeof(wchar_t)), L"ab", 2 * sizeof(wchar_t)));
}

// A wide character without a multibyte form leaves nothing, a wide string with one fails the call.
TEST(VelmarFormat, WideCharacters) {
    Check("[%lc%d]|[%5C%d]|[%-5wc%d]", "[7]|[7]|[7]", 0x20AC, 7);
    Check("[%.1ls]", "[a]", L"a\u20AC");
    CheckRefused("%ls|%-5.2S", L"a\u20AC");
    if (!setlocale(LC_CTYPE, "C.UTF-8")) GTEST_SKIP() << "no UTF-8 locale here";
    Check("%lc%d|%5C%d|%-5wc%d", "\u20AC7|  \u20AC7|\u20AC  7", 0x20AC, 7);
    Check("[%5C%d]", "[7]", 0xD800, 7);
    Check("%ls|%5ls|%-5S|%.2ls", "a\u20AC\u00E9|  a\u20AC\u00E9|a\u20AC\u00E9  |a\u20AC", L"a\u20AC\u00E9");
    setlocale(LC_CTYPE, "C");
}

TEST(VelmarFormat, FloatingPoint) {
    Check("%f|%E|%g|%08.2f|%+.2f|%#.0f|%.0g|%5-3f|%5-9.2f|%9-.2f|%9 0.2f|%9-7.2llf",
          "3.141590|3.141590E+00|3.14159|00003.14|+3.14|3.|3|3.141590|3.14     |3.14     | 00003.14|3.14   ",
          3.14159);
    Check("%-*.*f|%*-.*f|%*.*lle", "3.14    |3.14    |3.14e+00", 8, 2, 3.14159);
    Check("%*.*f|%-*.*f|%0*.*f", "    3.14|3.14    |00003.14", -8, 2, 3.14159);  // on the left only by a '-'
    Check("%.*f|%.*5f|%.*g|%*5f", "3.141590|3.141590|3.14159|       3.141590", -1, 3.14159);
    Check("%.*f|%.*g|%#.*g|%.*5f|%*5.2f", "3|3|3.|3.14159| 3.14", 0, 3.14159);
    Check("%*5f|%*-9.1f", "       3.141590|3.1      ", 1, 3.14159);
    const auto check = [](const char* format, auto value) {
        const string text = CLibrary(format, value);
        CheckOne(format, text, text.size() - 1, text.size(), value);
    };
    for (const char* format : {"%f", "%.200f", "%-400f", "%.600f", "%0600f", "%.700g"})
        check(format, -DBL_MAX);
    for (const char* format : {"%Lf", "%.600Lf", "%6000Lf"}) check(format, -LDBL_MAX);
    for (const int reported : {-1, 356}) {  // a failure, and more than the text was given room for
        fakes::scene.written = reported;
        Check("[%f%d]", "[7]", 3.14159, 7);
        fakes::scene.written = 0;
    }
}

TEST(VelmarFormat, DirectivesDoNotDisturbOneAnother) {
    Check("%*d %f|%*.9d %.1f", "    7 1.250000|000000007 1.2", 5, 7, 1.25);
    Check("%.*s %f|%.*s %5.1f|%-.*s %e", "ab 1.250000|ab   1.2|ab 1.250000e+00", 2, "abc", 1.25);
    Check("%*.*d %f %*f %Lf", "   07 1.250000  2.500000 3.500000", 5, 2, 7, 1.25, 9, 2.5, 3.5L);
    Check("%*I%g", "I1.25", 5, 1.25);
    Check("%-05d%d %#x%x %+d%d %ls%s", "1    2 0x34 +56 78", 1, 2, 3, 4, 5, 6, L"7", "8");
    // A precision beyond every buffer leaves nothing.
    Check("%.*f %g %d|%5.*e %g %d", " 2.5 7| 2.5 7", 2147483299, 1.25, 2.5, 7);
    Check("%.*Lf %g %d|%.*qG %g %d", " 2.5 7| 2.5 7", 2147478676, 1.25L, 2.5, 7);
    Check("%c%s%d%lld%f%Lf%p%*.*d%hd%S%g%lu%.*s", "Aab-1-23.0000004.000000(nil)  05-6cd75ef", 'A', "ab", -1,
          -2LL, 3.0, 4.0L, nullptr, 4, 2, 5, -6, L"cd", 7.0, 5UL, 2, "efg");
    // The same without any value.
    Check("|100%%|%s %8s %S %p|%d %u%o%x %5lld|%f %Lf %*.*f %*d %.*s",
          "|100%|(null)   (null) (null) (nil)|0 000     0|0.000000 0.000000 0 0 ");
    CheckRefused("a%n|a%");
}

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

// Which blocks are asked for; that a conversion without its blocks prints nothing; that all are given back.
TEST(VelmarFormat, FloatingPointAllocates) {
    const auto check = [](const string& directive, std::vector<size_t> sizes, auto... values) {
        const string format = "[" + directive + "%d]";
        const auto call = [&](char* dest, size_t destMax, size_t count) {
            return snprintf_s(dest, destMax, count, format.c_str(), values..., 7);
        };
        for (size_t failing = sizes.size() + 1; failing > 0; --failing) {  // first none of them
            string wrong, text = failing > sizes.size() ? CLibrary(format.c_str(), values..., 7) : "[7]";
            fakes::scene = fakes::Scene();
            fakes::Fail("malloc", static_cast<int>(failing));
            fakes::Happened([&] { wrong = Wrong(call, text, 6000, kAll); });
            if (failing < sizes.size()) sizes.resize(failing);
            EXPECT_EQ(wrong + fakes::TakeHeld(), "") << format << ", failing block " << failing;
            EXPECT_EQ(fakes::scene.sizes, sizes) << format << ", failing block " << failing;
        }
    };
    for (const char* directive : {"%400f", "%.100f", "%.162f", "%511f", "%+++++++++++++f"})
        check(directive, {}, 1.5);
    for (const char* directive : {"%.600f", "%.600e", "%900.600G"}) check(directive, {951}, 1.5);
    for (const char* directive : {"%.163f", "%512f"}) check(directive, {514}, 1.5);
    check("%*f", {602}, 600, 1.5);
    check("%++++++++++++++f", {17}, 1.5);
    check("%++++++++++.600f", {951, 17}, 1.5);
    check("%Lf", {4980}, 1.5L);
    check("%.*qf", {5574}, 600, 1.5L);
    check("%.500d%600s", {}, 1, "");
}

TEST(VelmarFormat, AgreesWithTheCLibrary) {
    const char* given = getenv("ZERBIN_SEED");
    const uint64_t seed = given ? strtoull(given, nullptr, 0) : 20090305;
    printf("ZERBIN_SEED=%llu\n", static_cast<unsigned long long>(seed));
    EXPECT_EQ(Differential(seed, 5000), 0);
}

}  // namespace

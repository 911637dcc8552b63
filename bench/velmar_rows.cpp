// The formatter, the copies and the appends.
#include "velmar/velmar.h"

#include <fmt/format.h>
#include <fmt/printf.h>

#include <charconv>
#include <cstdio>
#include <cstring>

#include "bench/measure.h"

namespace {

// ---- The formatter

constexpr size_t kSize = 2048;
alignas(64) char g_text[kSize];

// A row for one text, with its format in both notations.
template <typename... Values>
Row Format(const char* group, const char* name, const char* format, const char* braces, Values... values) {
    const auto ours = [=] { velmar::snprintf_s(g_text, kSize, kSize - 1, format, values...); };
    const auto libc = [=] { snprintf(g_text, kSize, format, values...); };
    const auto sprintf = [=] {
        std::string text = fmt::sprintf(format, values...);
        benchmark::DoNotOptimize(text);
    };
    const auto format_to_n = [=] {
        *fmt::format_to_n(g_text, kSize - 1, fmt::runtime(braces), values...).out = '\0';
    };
    const std::string text = fmt::sprintf(format, values...);
    const auto check = [&](auto write) {
        write();
        Check(text == g_text, name);
    };
    check(format_to_n);
    check(libc);
    check(ours);
    return {group,
            name,
            {{"ours", Repeat(ours)},
             {"snprintf", Repeat(libc)},
             {"fmt::sprintf", Repeat(sprintf)},
             {"format_to_n", Repeat(format_to_n)}}};
}

constexpr char kOpen[] = "open -a \"/Applications/Pelluria.app\"";

// The log line without a format to read, and without checks.
void WriteByHand(int number, int year, int month, int day, int hour, int minute, int second, const char* file,
                 const char* function, const char* message) {
    const auto write = [](char* to, int value) { return std::to_chars(to, g_text + kSize, value).ptr; };
    char* to = write(stpcpy(g_text, "line "), number);
    to = write(stpcpy(to, "==="), year);
    to = write(stpcpy(write(stpcpy(to, "-"), month), "-"), day);
    to = write(stpcpy(write(stpcpy(to, " "), hour), ":"), minute);
    to = stpcpy(write(stpcpy(to, ":"), second), "   ");
    to = stpcpy(stpcpy(stpcpy(to, file), ":"), function);
    stpcpy(stpcpy(stpcpy(to, " --- "), message), "\n");
}

template <typename... Values>
Row LogLine(const char* group, Values... values) {
    Row row = Format(group, "log line", "line %d===%d-%d-%d %d:%d:%d   %s:%s --- %s\n",
                     "line {}==={}-{}-{} {}:{}:{}   {}:{} --- {}\n", values...);
    const std::string text = g_text;
    row.contenders.push_back({"by hand", Repeat([=] { WriteByHand(values...); })});
    row.contenders.back().run(1);
    Check(text == g_text, "by hand");
    return row;
}

std::vector<Row> FormatRows() {
    constexpr char kOwn[] = "daemon's formats";
    constexpr char kOther[] = "other formats";
    static const std::string literal(500, 'x');
    static const std::string text(1000, 'x');
    return {
        LogLine(kOwn, 4711, 2009, 3, 5, 9, 4, 12, "Process", "RunShellProgram",
                "RunShellProgram exit true.(open -a \"/Applications/Pelluria.app\")"),
        Format(kOwn, "%s > %s", "%s > %s", "{} > {}", "ps -A | grep 'Finder[.]'",
               "/usr/local/DatacardService/cmd.txt"),
        Format(kOwn, "[%s]", "[%s]", "[{}]", "Volumes"),
        Format(kOwn, "%d", "%d", "{}", 4711),
        Format(kOwn, "(%s) false, ...", "(%s) false, RunShellProgram exit failed",
               "({}) false, RunShellProgram exit failed", kOpen),
        Format(kOwn, "system failed ...", "system failed %d time, return %d[%s]:(%s), err = (%s)",
               "system failed {} time, return {}[{}]:({}), err = ({})", 3, 256, "Unknown error 256", kOpen,
               "No child processes"),
        Format(kOther, "%08x", "%08x", "{:08x}", 0xBEEF42U),
        Format(kOther, "%-10s", "%-10s", "{:<10}", "config"),
        Format(kOther, "%llu", "%llu", "{}", 1234567890123ULL),
        Format("floating point", "%5.2f", "%5.2f", "{:5.2f}", 3.14159),
        Format(kOther, "%p", "%p", "{}", static_cast<const void*>(g_text)),
        Format(kOther, "literal of 500", literal.c_str(), literal.c_str()),
        Format(kOther, "%s of 1,000", "%s", "{}", text.c_str()),
    };
}

// ---- Copies and appends

constexpr size_t kBlockSize = 65536;
constexpr size_t kLimit = kBlockSize - 1;  // characters
alignas(64) char g_from[kBlockSize + 1];
alignas(64) char g_to[kBlockSize];

template <typename Ours, typename Plain>
Row Pair(const char* group, size_t size, Ours ours, Plain plain) {
    const auto prepare = [size] {  // g_from is a text of `size` characters
        memset(g_from, 'x', kBlockSize);
        g_from[size] = '\0';
    };
    return {group,
            std::to_string(size),
            {{"ours", Repeat(ours), prepare}, {"C library", Repeat(plain), prepare}}};
}

// The rivals of the text functions, not inlined either, keep to the same limits; they check nothing else.
[[gnu::noinline]] void CopyPlainly(char* to, size_t size, const char* from, size_t count) {
    const size_t length = strnlen(from, count < size ? count : size - 1);
    memcpy(to, from, length);
    to[length] = '\0';
}

[[gnu::noinline]] void AppendPlainly(char* to, size_t size, const char* from, size_t count) {
    const size_t before = strnlen(to, size);
    const size_t length = strnlen(from, count < size - before ? count : size - before - 1);
    memcpy(to + before, from, length);
    to[before + length] = '\0';
}

void SetText() {
    memcpy(g_to, "open -a \"", sizeof "open -a \"");
}

}  // namespace

std::vector<Row> VelmarRows() {
    std::vector<Row> rows = FormatRows();
    constexpr size_t kSizes[] = {8, 64, 1024, 65536};
    constexpr size_t kLengths[] = {5, 20, 100, 1000};
    for (const size_t n : kSizes)
        rows.push_back(Pair(
            "memset_s", n, [=] { velmar::memset_s(g_to, kBlockSize, 'x', n); },
            [=] { memset(g_to, 'x', n); }));
    for (const size_t n : kSizes)
        rows.push_back(Pair(
            "memcpy_s", n, [=] { velmar::memcpy_s(g_to, kBlockSize, g_from, n); },
            [=] { memcpy(g_to, g_from, n); }));
    for (const size_t n : kLengths)
        rows.push_back(Pair(
            "strncpy_s", n, [] { velmar::strncpy_s(g_to, kBlockSize, g_from, kLimit); },
            [] { CopyPlainly(g_to, kBlockSize, g_from, kLimit); }));
    for (const size_t n : kLengths)
        rows.push_back(Pair(
            "strncat_s", n, [] { SetText(), velmar::strncat_s(g_to, kBlockSize, g_from, kLimit); },
            [] { SetText(), AppendPlainly(g_to, kBlockSize, g_from, kLimit); }));
    return rows;
}

// The formatter: random directives, compared with the C library, and any format at all.
#include "fuzz.h"
#include "tests/differential.h"

// What a small buffer gets must be the beginning of what a large one gets.
void Try(Input* input) {
    static const wchar_t kWide[] = L"A\x20AC";  // a string for any %s, and a number
    const bool hasValues = input->Below(2);
    const size_t destMax = 1 + input->Below(64), count = input->Below(2) ? kAll : input->Below(64);
    const string format = string(input->left).c_str();
    Require(Differential(std::hash<string>()(format), 1) == 0, "the C library's");

    int digits = 0, values = 0;
    const bool isFloating = format.find_first_of("eEfFgG") != string::npos;
    for (const char c : format) {
        digits = isdigit(c & 0x7F) ? digits + 1 : 0;
        values += c == '%' || c == '*';
        if (isFloating && (hasValues || digits > 4)) return;  // takes too much memory
    }
    if (hasValues && values > 6) return;
    const auto call = [&](char* dest, size_t size, size_t limit) {
        const char* text = format.c_str();
        return hasValues
                   ? velmar::snprintf_s(dest, size, limit, text, kWide, kWide, kWide, kWide, kWide, kWide)
                   : velmar::format_without_arguments_s(dest, size, limit, text);
    };
    static char text[Guarded::kRoom];
    const int length = call(text, sizeof text, sizeof text - 2);
    if (length >= 0 || text[0] != '\0') {
        const string whole(text, length < 0 ? sizeof text - 2 : static_cast<size_t>(length));
        Require(Wrong(call, whole, destMax, count).empty(),
                format + ": " + Wrong(call, whole, destMax, count));
        return;
    }
    static Guarded guarded;
    char* dest = guarded.Fresh(destMax);
    const size_t room = std::min(count, destMax - 1) + 1;
    Require(call(dest, destMax, count) == -1 && memchr(dest, '\0', room) && guarded.OnlyFirst(room), format);
}

// The formatter's state machine: the classes of characters, the states of a directive, and one table
// of 91 bytes that maps each character to its class, and each class and state to the next state.
#pragma once

namespace velmar {

enum char_class : unsigned char {
    CLASS_OTHER,
    CLASS_PERCENT,
    CLASS_DOT,
    CLASS_STAR,
    CLASS_ZERO,
    CLASS_DIGIT,
    CLASS_FLAG,
    CLASS_SIZE,
    CLASS_CONV
};
constexpr int kClasses = CLASS_CONV + 1;

enum format_state : unsigned char {
    STATE_TEXT,       // ordinary text; also the second '%' of "%%"
    STATE_PERCENT,    // a '%' opened a directive
    STATE_FLAGS,      // one of space # + - 0
    STATE_WIDTH,      // a digit or '*' of the width
    STATE_DOT,        // the '.' before the precision
    STATE_PRECISION,  // a digit or '*' of the precision
    STATE_SIZE,       // a size prefix
    STATE_CONV,       // the conversion: the directive is complete
    STATE_INVALID     // a character that is not allowed at its place
};
constexpr int kStates = STATE_INVALID + 1;

constexpr char_class classify(char c) {
    if (c == '%') return CLASS_PERCENT;
    if (c == '.') return CLASS_DOT;
    if (c == '*') return CLASS_STAR;
    if (c == '0') return CLASS_ZERO;
    if (c >= '1' && c <= '9') return CLASS_DIGIT;
    for (const char* p = " #+-"; *p != '\0'; ++p)
        if (c == *p) return CLASS_FLAG;
    for (const char* p = "ILNZhjlqtwz"; *p != '\0'; ++p)
        if (c == *p) return CLASS_SIZE;
    for (const char* p = "CEFGSXcdefgiopsux"; *p != '\0'; ++p)
        if (c == *p) return CLASS_CONV;
    return CLASS_OTHER;
}

constexpr char kFirstClassified = ' ';
constexpr char kLastClassified = 'z';
constexpr int kTableSize = kLastClassified - kFirstClassified + 1;
static_assert(kTableSize == 91 && kClasses * kStates <= kTableSize, "both halves share 91 bytes");

// Low four bits at [c - ' ']: the class of the character c. High four bits at [class * 9 + state]: the state
// that comes next.
struct lookup_table {
    unsigned char bytes[kTableSize];
};
constexpr lookup_table build_lookup_table() {
    constexpr format_state T = STATE_TEXT, P = STATE_PERCENT, F = STATE_FLAGS, W = STATE_WIDTH, D = STATE_DOT,
                           N = STATE_PRECISION, S = STATE_SIZE, C = STATE_CONV, X = STATE_INVALID;
    // The state that a character of each class (row) leads to from each state (column).
    // Kept: callers may rely on which formats are valid. A flag may follow the width, and digits after it start a new one;
    // '*' may follow neither a digit nor another '*', but digits may follow '*'; size prefixes may repeat.
    constexpr format_state kTransitions[kClasses][kStates] = {
        //           TEXT PERCENT FLAGS WIDTH DOT PRECISION SIZE CONV INVALID
        /* other   */ {T, X, X, X, X, X, X, T, T},
        /* percent */ {P, T, X, X, X, X, X, P, T},
        /* dot     */ {T, D, D, D, X, X, X, T, T},
        /* star    */ {T, W, W, X, N, X, X, T, T},
        /* zero    */ {T, F, F, W, N, N, X, T, T},
        /* digit   */ {T, W, W, W, N, N, X, T, T},
        /* flag    */ {T, F, F, F, X, X, X, T, T},
        /* size    */ {T, S, S, S, S, S, S, T, T},
        /* conv    */ {T, C, C, C, C, C, C, T, T},
    };
    lookup_table table{};
    for (int i = 0; i < kTableSize; ++i) {
        int entry = classify(static_cast<char>(kFirstClassified + i));
        if (i < kClasses * kStates) entry |= kTransitions[i / kStates][i % kStates] << 4;
        table.bytes[i] = static_cast<unsigned char>(entry);
    }
    return table;
}
constexpr lookup_table velmar__lookuptable_s = build_lookup_table();

constexpr format_state next_state(format_state state, char c) {
    const unsigned index = static_cast<unsigned char>(c) - static_cast<unsigned>(kFirstClassified);
    int row = CLASS_OTHER;
    if (index < kTableSize) row = velmar__lookuptable_s.bytes[index] & 0xF;
    return static_cast<format_state>(velmar__lookuptable_s.bytes[row * kStates + state] >> 4);
}

}  // namespace velmar

// What the fakes of the C library and those of the frameworks share.
#pragma once

#include <cerrno>

#include "fakes.h"

// Begins the definition of a call's fake, which has the call's type.
#define FAKE(Result, name, ...)                                               \
    [[maybe_unused]] static Result (*const real_##name)(__VA_ARGS__) = &name; \
    extern "C" Result fake_##name(__VA_ARGS__)

// The fake of a call that is nothing but an expression.
#define PLAIN_FAKE(Result, name, parameters, ...) \
    extern "C" Result fake_##name parameters {    \
        return __VA_ARGS__;                       \
    }

namespace fakes {

inline const string kLog = "/usr/local/DatacardService/Zerbin.log";
inline const string kLogHeld = "stream " ZERBIN_ROOT + kLog;

// Any call may change the error number. The fakes' own work does not, and a call that works sets it to this.
constexpr int kErrorOfSuccess = EDOM;
struct KeepError {
    const int error = errno;
    ~KeepError() { errno = error; }
};
template <typename Result>
Result Done(Result result) {
    errno = kErrorOfSuccess;
    return result;
}

extern string g_happened;
extern std::map<const void*, string> g_held;  // and what each is

// Records a call, with its arguments: texts, numbers and things.
string Name(const void* thing);
void NoteLine(const string& line);
template <typename... Values>
void Note(string line, Values... values) {
    const KeepError keep;
    [[maybe_unused]] const auto said = [](auto value) -> string {
        if constexpr (std::is_arithmetic_v<decltype(value)>)
            return std::to_string(value);
        else if constexpr (std::is_convertible_v<decltype(value), string>)
            return value;
        else
            return Name(value);
    };
    ((line += " " + said(values)), ...);
    NoteLine(line);
}

// Counts the call; whether it is one to fail.
bool Fails(const string& call);

template <typename Type>
Type* Hold(Type* held, const string& what) {
    if (held != nullptr) g_held[held] = what;
    return held;
}

// Notes the end of what is held; false for what is not known.
bool Drop(const void* held, const string& call);

}  // namespace fakes

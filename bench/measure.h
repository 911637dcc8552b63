// What is measured, and how.
//
// A row compares one function of ours with rivals that do the same work. Each is run for a number of calls:
//   time          In each round every contender makes the same number of calls, in turn, in reverse order
//                 every second round; the result is the median of the rounds' ratios. A disturbance longer
//                 than a round (a few milliseconds) affects all contenders, and a shorter one makes an
//                 outlier. The clock is the thread's own, which stops while other processes run.
//   instructions  Counted by callgrind for two numbers of calls; their difference is exact and repeatable.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

struct Contender {
    std::string name;
    std::function<void(size_t calls)> run;
    std::function<void()> prepare = [] {};  // before each run, not measured
};

struct Row {
    std::string group;
    std::string name;
    std::vector<Contender> contenders;  // ours first
    size_t bytes = 0;                   // read by each call, if a rate is to be shown
    size_t calls_limit = 1 << 24;       // of one run
    bool is_counted = true;             // by instructions
};

std::vector<Row> VelmarRows();
std::vector<Row> FileRows(const std::string& folder);

// The loop around every call. The compiler must assume that
// everything the call reads has changed since the last one.
template <typename Call>
std::function<void(size_t)> Repeat(Call call) {
    return [call](size_t calls) {
        for (; calls != 0; --calls) {
            call();
            benchmark::ClobberMemory();
        }
    };
}

// Ends the program if a contender's result is wrong.
void Check(bool is_right, const std::string& what);

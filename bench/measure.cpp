#include "bench/measure.h"

#include <time.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

constexpr double kRunSeconds = 0.001;  // the least time for a run of our code

constexpr char kUsage[] =
    "usage: zerbin_bench time ROUNDS [ROW]     ROW is a part of GROUP/NAME\n"
    "       zerbin_bench count PREFIX [ROW]    under valgrind --tool=callgrind --callgrind-out-file=PREFIX\n"
    "       zerbin_bench run CALLS ROW NAME    only makes the calls, for strace or a profiler\n";

void Print(const Row& row, const Contender& contender, const char* figure, double value) {
    printf("%s\t%s\t%s\t%s\t%.4f\n", row.group.c_str(), row.name.c_str(), contender.name.c_str(), figure,
           value);
}

// ---- Time

double Now() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double Seconds(const Contender& contender, size_t calls) {
    contender.prepare();
    const double start = Now();
    contender.run(calls);
    return Now() - start;
}

size_t Calibrate(const Row& row) {
    size_t calls = 1;
    while (calls < row.calls_limit && Seconds(row.contenders[0], calls) < kRunSeconds) calls *= 2;
    return calls;
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// An iteration is a round; a counter is the ratio of ours to the contender of that name.
void MeasureTime(benchmark::State& state, const Row& row) {
    const size_t calls = Calibrate(row);
    const size_t count = row.contenders.size();
    std::vector<std::vector<double>> times(count);
    std::vector<std::vector<double>> ratios(count);
    bool is_reversed = false;
    for (auto _ : state) {
        for (size_t i = 0; i < count; ++i) {
            const size_t k = is_reversed ? count - 1 - i : i;
            times[k].push_back(Seconds(row.contenders[k], calls));
        }
        is_reversed = !is_reversed;
        for (size_t k = 0; k < count; ++k) ratios[k].push_back(times[0].back() / times[k].back());
        state.SetIterationTime(times[0].back());
    }
    for (size_t k = 0; k < count; ++k) {
        const Contender& contender = row.contenders[k];
        const double seconds = Median(times[k]) / static_cast<double>(calls);
        state.counters[contender.name] = Median(ratios[k]);
        Print(row, contender, "time", Median(ratios[k]));
        Print(row, contender, "ns", seconds * 1e9);
        if (row.bytes != 0) Print(row, contender, "MB/s", static_cast<double>(row.bytes) / seconds * 1e-6);
    }
}

// ---- Instructions

// What callgrind counts for one run. It writes its results into the files `prefix`.1, .2 and so on.
double Instructions(const Contender& contender, size_t calls, const std::string& prefix) {
    static int parts = 0;
    contender.prepare();
    CALLGRIND_ZERO_STATS;
    contender.run(calls);
    CALLGRIND_DUMP_STATS;
    const std::string path = prefix + "." + std::to_string(++parts);
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line) && line.rfind("totals: ", 0) != 0) continue;
    Check(file.good(), path);
    std::filesystem::remove(path);
    return std::stod(line.substr(line.find(' ')));
}

void CountInstructions(const Row& row, const std::string& prefix) {
    constexpr size_t kFew = 2;
    constexpr size_t kMore = 10;
    for (const Contender& contender : row.contenders) {
        Instructions(contender, 1, prefix);  // leaves out what only the first call does
        const double few = Instructions(contender, kFew, prefix);
        const double more = Instructions(contender, kMore, prefix);
        Print(row, contender, "instructions", (more - few) / (kMore - kFew));
    }
}

// ---- The program

void Run(const Row& row, const std::string& command, const std::string& argument, const std::string& name) {
    const std::string title = row.group + "/" + row.name;
    if (command == "time")
        benchmark::RegisterBenchmark(title.c_str(), MeasureTime, row)
            ->Iterations(std::stol(argument))
            ->UseManualTime();
    if (command == "count" && row.is_counted) CountInstructions(row, argument);
    if (command != "run") return;
    for (const Contender& contender : row.contenders)
        if (contender.name == name) Seconds(contender, std::stoul(argument));
}

}  // namespace

void Check(bool is_right, const std::string& what) {
    if (is_right) return;
    fprintf(stderr, "zerbin_bench: wrong result: %s\n", what.c_str());
    exit(1);
}

int main(int argc, char** argv) {
    if (argc < 3) return fputs(kUsage, stderr), 2;
    std::string folder = "/tmp/zerbin-bench-XXXXXX";
    Check(mkdtemp(folder.data()) != nullptr, folder);
    std::vector<Row> rows = VelmarRows();
    for (const Row& row : FileRows(folder)) rows.push_back(row);
    for (const Row& row : rows)
        if (argc == 3 || (row.group + "/" + row.name).find(argv[3]) != std::string::npos)
            Run(row, argv[1], argv[2], argc > 4 ? argv[4] : "");
    benchmark::ConsoleReporter progress(benchmark::ConsoleReporter::OO_None);
    progress.SetOutputStream(&std::cerr);  // standard output has only the figures
    if (argv[1] == std::string("time")) benchmark::RunSpecifiedBenchmarks(&progress);
    std::filesystem::remove_all(folder);
}

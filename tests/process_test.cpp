#include "src/Process.h"

#include "fakes.h"

using namespace fakes;

namespace {

using ProcessTest = DaemonTest;

TEST_F(ProcessTest, RunShellProgram) {
    const struct {
        const char *name, *command;
        int tries;
        std::vector<int> statuses = {};
        int error = 0;
    } kRows[] = {{"null", nullptr, 3},
                 {"no try", "c", 0},
                 {"less than none", "c", -1},
                 {"first try", "", 1},
                 {"per cent signs", "c 100%% %s%n", 1},
                 {"third try", "c", 9, {-1, 127, 0}, EAGAIN},
                 {"exit codes 1 and 127", "c", 2, {256, 32512}, ENOENT},
                 {"killed, unknown numbers", "c", 2, {9, 512}, 777}};
    for (const auto& row : kRows) {
        scene.answers = {{"c", row.statuses, "", row.error}};
        Case(row.name, [&](Result result) { result << RunShellProgram(row.command, row.tries); });
    }
}

TEST_F(ProcessTest, RunShellCmd) {
    const string kLong(1100, 'c');
    const Answer kShort = {"c >", {0}, "ab\n"};
    const struct {
        const char *name, *command;
        int size;
        std::vector<Answer> answers = {};
        const char* fails = "none";
    } kRows[] = {{"null", nullptr, 8},
                 {"no size", "c", 0},
                 {"negative size", "c", -1},
                 {"digit", "0c", 8},
                 {"short", "c", 8, {kShort}},
                 {"empty command", "", 8, {{" >", {0}, "ab"}}},
                 {"too much", "c", 8, {{"c >", {0}, "abcdefghijk"}}},
                 {"nothing", "c", 8},
                 {"no read", "c", 8, {kShort}, "fread"},
                 {"not opened", "c", 8, {kShort}, "fopen"},
                 {"never removed", "c", 8, {{"rm", {512}}, kShort}},
                 {"long command", kLong.c_str(), 8, {{"c", {256}}}}};
    for (const auto& row : kRows) {
        scene.answers = row.answers;
        Fail(row.fails, 1);
        string output = "xxxxxxxxxx";
        Case(row.name, [&](Result result) {
            result << RunShellCmd(row.command, output.data(), row.size) << " " << output << " ";
            result << Read("/usr/local/DatacardService/cmd.txt");
        });
    }
    Case("no buffer", [](Result result) { result << RunShellCmd("c", nullptr, 8); });
}

}  // namespace

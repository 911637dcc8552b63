#include "src/Process.h"

#include "fakes.h"

using namespace fakes;

namespace {

using ProcessTest = DaemonTest;

TEST_F(ProcessTest, RunShellProgram) {
    const auto run = [&](const char* command, int tries, std::vector<int> statuses = {}, int error = 0) {
        scene.answers = {{"c", statuses, "", error}};
        Case(std::to_string(tries) + " tries",
             [&](Result result) { result << RunShellProgram(command, tries); });
    };
    run(nullptr, 3);
    for (int tries : {0, -1, 1}) run("c 100%% %s%n", tries);
    run("", 1);
    run("c", 9, {-1, 127, 0}, EAGAIN);
    run("c", 2, {256, 32512}, ENOENT);  // exit codes 1 and 127
    run("c", 2, {9, 512}, 777);         // killed; numbers without a text
}

TEST_F(ProcessTest, RunShellCmd) {
    const auto run = [&](const string& name, const char* command, int size,
                         std::vector<Answer> answers = {}) {
        scene.answers = answers;
        string output = "xxxxxxxxxx";
        Case(name, [&](Result result) {
            result << RunShellCmd(command, output.data(), size) << " " << output << " "
                   << Read("/usr/local/DatacardService/cmd.txt");
        });
    };
    const Answer kShort = {"c >", {0}, "ab\n"};
    run("null", nullptr, 8);
    for (int size : {0, -1, 8}) run("size", "c", size, {kShort});
    run("digit", "0c", 8);
    run("empty command", "", 8, {{" >", {0}, "ab"}});
    run("too much", "c", 8, {{"c >", {0}, "abcdefghijk"}});
    run("nothing", "c", 8);
    run("never removed", "c", 8, {{"rm", {512}}, kShort});
    run("long command", string(1100, 'c').c_str(), 8, {{"c", {256}}});
    Case("no buffer", [](Result result) { result << RunShellCmd("c", nullptr, 8); });
}

}  // namespace

#include "src/Process.h"

#include "fakes.h"

using namespace fakes;

namespace {

using ProcessTest = DaemonTest;

TEST_F(ProcessTest, RunShellProgram) {
    const auto run = [&](const string& title, const char* command, int tries, std::vector<int> statuses = {},
                         int error = 0) {
        scene.answers = {{"c", statuses, "", error}};
        Case(title, kEverything, [&](Result result) { result << RunShellProgram(command, tries); });
    };
    run("no command", nullptr, 3);
    for (const int tries : {0, -1, 1}) run(std::to_string(tries) + " tries", "c 100%% %s%n", tries);
    run("empty command", "", 1);
    run("no process, then no shell, then success", "c", 9, {-1, 127, 0}, 5);
    run("exit codes 1 and 127", "c", 2, {256, 32512}, 777);
    run("killed; the error number of an earlier call", "c", 2, {9});
}

TEST_F(ProcessTest, RunShellCmd) {
    const char kCapture[] = "/usr/local/DatacardService/cmd.txt";
    std::vector<string> parts;
    const auto run = [&](const string& title, const char* command, int size,
                         std::vector<Answer> answers = {{"c >", {0}, "ab"}}) {
        scene.answers = answers;
        Write(kCapture, "old");
        Case(title, parts, [&](Result result) {
            string output = "xxxxxxxxxx";
            result << RunShellCmd(command, output.data(), size) << ", output '" << output << "', ";
            const string left = Read(kCapture);
            result << (left.empty() ? "nothing left" : "left: '" + left + "'");
        });
    };
    run("size 1", "c", 1);
    parts = {"RunShellCmd ---", "* system", "failed 9"};  // from here on
    for (const int size : {0, -1, 8}) run("size " + std::to_string(size), "c", size);
    run("no command", nullptr, 8);
    run("digit zero", "0c", 8);
    run("empty command", "", 8, {{" >", {0}, "ab"}});
    run("too much printed", "c", 8, {{"c >", {0}, "abcdefghijk"}});
    run("nothing printed", "c", 8, {});
    run("command fails", "c", 8, {{"c >", {256}, "ab"}});
    run("capture file never removed", "c", 8, {{"rm", {512}}, {"c >", {0}, "ab"}});
    run("long command", string(1100, 'c').c_str(), 8, {{"ccc", {256}}});
    Fail("fopen", 1), run("capture file cannot be opened", "c", 8);
    Fail("fread", 1), run("capture file cannot be read", "c", 8);
    Case("no buffer", [](Result result) { result << RunShellCmd("c", nullptr, 8); });
}

}  // namespace

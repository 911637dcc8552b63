#include "Common/Log.h"

#include <filesystem>

#include "fakes.h"

using namespace fakes;

namespace {

const char kFile[] = "/usr/local/DatacardService/Zerbin.log";

class LogTest : public DaemonTest {
protected:
    void SetUp() override {
        DaemonTest::SetUp();
        setenv("TZ", "UTC", 1);
    }
};

void Say(const char* message) {
    Log("src/Zerbin", "main", "%s", message);
}

// The log file; number and time of each line are left out.
string LogFile() {
    string text = Shown(Read(kFile));
    for (size_t at; (at = text.find("line ")) != string::npos;) text.erase(at, text.find("   ", at) + 3 - at);
    return text;
}

// Three lines, of which the second is lost.
[[noreturn]] void LogInThisProcess() {
    Happened([] {
        Say("while closed");
        InitLogSystem(Path(kFile).c_str());
        Say("first");
        CloseLogSystem();
        Say("while closed");
        InitLogSystem(Path("/none/Zerbin.log").c_str());
        Say("lost");
        InitLogSystem(Path(kFile).c_str());
        scene.now += (2 * 365 + 300) * 86400;
        Log("src/Zerbin", "main", "%d is %s", 3, "the last");
        CloseLogSystem();
    });
    fputs(Read(kFile).c_str(), stderr);
    _Exit(0);
}

TEST_F(LogTest, NumbersLinesFromOneForTheLifeOfTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // in a process that has logged nothing yet
    EXPECT_EXIT(LogInThisProcess(), ::testing::ExitedWithCode(0),
                ::testing::Eq("line 1===2009-3-5 9:4:12   Zerbin:main --- first\n"
                              "line 3===2011-12-30 9:4:12   Zerbin:main --- 3 is the last\n"));
}

TEST_F(LogTest, Lines) {
    const char* const kPaths[] = {"src/Zerbin", "/a/b.c", "INI", "/x", "x/", "", "a/b%%", nullptr};
    for (const char* path : kPaths) Case(path ? path : "null", [&](Result) { Log(path, "f", "x"); });
    for (const char* message : {"", "100%% %s%n", "%%%", "%%%%", "%"})
        Case(message, [&](Result) { Log("a/b", "f", "%s", message); });
    Case("%%%% and %% of %d", [](Result) { Log("a/b", "f", "%%%% and %% of %d", 5); });
    Case("null", [](Result) { Log("a/b", nullptr, "x"), Log("a/b", "f", nullptr); });
    Case("null path", [](Result) { InitLogSystem(nullptr), Say("x"); });
}

TEST_F(LogTest, Files) {
    Case("lines come one call later", [](Result result) {
        for (const char* message : {"1", "2"}) Say(message), result << "[" << LogFile() << "]";
    });
    Case("too long", {"none"}, [](Result result) {
        CloseLogSystem(), Remove(kFile), InitLogSystem(Path(kFile).c_str());
        Say(string(3000, 'm').c_str()), Say("next"), CloseLogSystem();
        result << Read(kFile).find("line ", 1);
    });
    for (size_t length : {1023u, 1024u})
        Case("path of " + std::to_string(length), [&](Result) {
            string path = Path("/usr/local/DatacardService/file");
            path.insert(path.find("file"), length - path.size(), '/');
            CloseLogSystem(), InitLogSystem(path.c_str());
            Say("x"), CloseLogSystem();
        });
}

TEST_F(LogTest, Trouble) {
    const struct {
        const char* name;
        unsigned size;              // of the file before the first line
        const char* call = "none";  // the one that fails
        int n = 1;
        bool forEver = false;
    } kRows[] = {{"below the limit", 10000000},
                 {"at the limit", 10000001},
                 {"not opened", 3, "fopen"},
                 {"never opened", 3, "fopen", 1, true},
                 {"not reopened", 10000001, "fopen", 2},
                 {"no seek, no size test", 10000001, "fseek", 1, true},
                 {"disk full", 3, "fputs", 2}};
    for (const auto& row : kRows) {
        Write(kFile, "old");
        std::filesystem::resize_file(Path(kFile), row.size);
        scene.countLog = true;
        Fail(row.call, row.n, row.forEver);
        Case(row.name, {"none"}, [](Result result) {
            for (const char* message : {"1", "2", "3"}) Say(message);
            CloseLogSystem(), result << LogFile();
        });
    }
}

}  // namespace

#include "Common/Log.h"

#include <filesystem>

#include "fakes.h"

using namespace fakes;

namespace {

const char kFile[] = "/usr/local/DatacardService/Zerbin.log";

using LogTest = DaemonTest;

void Say(const char* message) {
    Log("src/Zerbin", "main", "%s", message);
}

// The log file; number and time of each line are left out.
string LogFile() {
    string text = Shown(Read(kFile));
    for (size_t at; (at = text.find("line ")) != string::npos;) text.erase(at, text.find("   ", at) + 3 - at);
    return text;
}

TEST_F(LogTest, NumbersLinesFromOneForTheLifeOfTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // in a process that has logged nothing yet
    const auto log = [] {
        for (const char* message : {"while closed", "first", "lost", "last"}) {
            Say(message);
            CloseLogSystem();
            InitLogSystem(Path(message[0] == 'f' ? "/none/Zerbin.log" : kFile).c_str());
            if (message[0] == 'l') scene.now += (2 * 365 + 300) * 86400 / 2;
        }
        CloseLogSystem();
    };
    const auto die = [&] {
        Happened(log);
        fputs(Read(kFile).c_str(), stderr);
        _Exit(0);
    };
    EXPECT_EXIT(die(), ::testing::ExitedWithCode(0),
                ::testing::Eq("line 1===2009-3-5 9:4:12   Zerbin:main --- first\n"
                              "line 3===2010-8-2 9:4:12   Zerbin:main --- last\n"));
}

TEST_F(LogTest, Lines) {
    for (const char* path : {"src/Zerbin", "/a/b.c", "INI", "/x", "x/", "", "a/b%%"})
        Case(path, [&](Result) { Log(path, "f", "x"); });
    for (const char* message : {"", "100%% %s%n", "%%%", "%%%%", "%"})
        Case(message, [&](Result) { Log("a/b", "f", "%s", message); });
    Case("%%%% and %% of %d", [](Result) { Log("a/b", "f", "%%%% and %% of %d", 5); });
    Case("null", [](Result) { Log(nullptr, "f", "x"), Log("a/b", nullptr, "x"), Log("a/b", "f", nullptr); });
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
            const string folder = Path("/usr/local/DatacardService");
            CloseLogSystem(), InitLogSystem((folder + string(length - folder.size() - 1, '/') + "f").c_str());
            Say("x"), CloseLogSystem();
        });
}

TEST_F(LogTest, Trouble) {
    const auto log = [&](unsigned size, const string& fails = "", int n = 1, bool forEver = false) {
        Write(kFile, "old");
        std::filesystem::resize_file(Path(kFile), size);
        scene.countLog = true;
        Fail(fails, n, forEver);
        Case(std::to_string(size) + " bytes, then " + fails + " fails", {"none"}, [](Result result) {
            for (const char* message : {"1", "2", "3"}) Say(message);
            CloseLogSystem(), result << LogFile();
        });
    };
    for (unsigned size : {10000000u, 10000001u}) log(size);
    for (bool forEver : {false, true}) log(3, "fopen", 1, forEver);
    log(10000001, "fopen", 2);        // not opened again
    log(10000001, "fseek", 1, true);  // no seek, no test of the size
    log(3, "fputs", 2);
}

}  // namespace

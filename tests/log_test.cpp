#include "Common/Log.h"

#include <climits>
#include <filesystem>

#include "fakes.h"

using namespace fakes;

namespace {

const char kFile[] = "/usr/local/DatacardService/Zerbin.log";
constexpr unsigned kLimit = 10000001;  // of its size

using LogTest = DaemonTest;

void Open(const string& path = Path(kFile)) {
    InitLogSystem(path.c_str());
}

void Say(const char* message) {
    Log("src/Zerbin", "main", "%s", message);
}

// What is in the log; number, time and source of each line are left out.
string Messages() {
    string text = Read(kFile);
    for (size_t at; (at = text.find("line ")) != string::npos;)
        text.erase(at, text.find("--- ", at) + 4 - at);
    return text;
}

TEST_F(LogTest, NumbersLinesFromOneForTheLifeOfTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // in a process that has logged nothing yet
    const auto log = [] {
        setenv("TZ", "XYZ-3", 1);
        tzset();
        Say("not counted: it is closed");
        Open();
        Log(nullptr, "f", "not counted"), Log("a/b", nullptr, "not counted"), Log("a/b", "f", nullptr);
        Say("first");
        CloseLogSystem();
        Open("/none/Zerbin.log");
        Say("lost");
        CloseLogSystem();
        fputs(Read(kFile).c_str(), stderr);
        std::filesystem::resize_file(Path(kFile), kLimit);
        Open();
        scene.now += (2 * 365 + 300) * 86400 / 2;
        Say("in the emptied file"), Say("next");
        CloseLogSystem();
        fputs(Read(kFile).c_str(), stderr);
        _Exit(0);
    };
    EXPECT_EXIT(log(), ::testing::ExitedWithCode(0),
                ::testing::Eq("line 1===2009-3-5 12:4:12   Zerbin:main --- first\n"
                              "line 3===2010-8-2 12:4:12   Zerbin:main --- in the emptied file\n"
                              "line 4===2010-8-2 12:4:12   Zerbin:main --- next\n"));
}

TEST_F(LogTest, AnyTimeIsShown) {
    for (const auto& [value, shown] :
         {std::pair{0, "===1900-1-0 0:0:0 "},
          {INT_MAX, "===-2147481749--2147483648-2147483647 2147483647:2147483647:2147483647 "},
          {INT_MIN, "===-2147481748--2147483647--2147483648 -2147483648:-2147483648:-2147483648 "}}) {
        MakeMachine();
        scene.localTime = [number = value](const time_t*, tm* time) {
            time->tm_year = time->tm_mon = time->tm_mday = time->tm_hour = time->tm_min = time->tm_sec =
                number;
            return number != 0 ? time : nullptr;
        };
        Open(), Say("x"), CloseLogSystem();
        EXPECT_NE(Read(kFile).find(shown), string::npos) << Read(kFile);
    }
}

TEST_F(LogTest, Lines) {
    for (const char* path : {"src/Zerbin", "/a/b.c", "INI", "/x", "x/", "", "a/b%%"})
        Case("from '" + string(path) + "'", [&](Result) { Log(path, "f", "x"); });
    for (const char* message : {"", "100%% %s%n", "%%%", "%%%%", "%"})
        Case("message '" + string(message) + "'", [&](Result) { Log("a/b", "f", "%s", message); });
    Case("format '%%%% and %% of %d'", [](Result) { Log("a/b", "f", "%%%% and %% of %d", 5); });
    Case("null path", [](Result) { InitLogSystem(nullptr), Say("not written"); });
    for (const size_t length : {1023u, 1024u})
        Case("path of " + std::to_string(length) + " characters", [&](Result) {
            const string folder = Path("/usr/local/DatacardService");
            CloseLogSystem(), Open(folder + string(length - folder.size() - 1, '/') + "f");
            Say("written to the shorter one"), CloseLogSystem();
        });
}

TEST_F(LogTest, WritesWhenTheNextLineComesOrAtTheEnd) {
    Open(), Say("1");
    EXPECT_EQ(Messages(), "");
    Say("2");
    EXPECT_EQ(Messages(), "1\n");
    CloseLogSystem();
    EXPECT_EQ(Messages(), "1\n2\n");
    Remove(kFile), Open(), Say(string(3000, 'm').c_str()), Say("next"), CloseLogSystem();
    EXPECT_EQ(Read(kFile).find("line ", 1), 2047u);  // a long line is cut
}

TEST_F(LogTest, AnOpenLogStaysOpen) {
    const string other = Path("/Volumes/other.log");
    for (const char* path : {other.c_str(), static_cast<const char*>(nullptr)}) {
        Open(), Say("1");
        InitLogSystem(path), Open(other), Say("2");
        CloseLogSystem();
    }
    EXPECT_EQ(Messages(), "1\n2\n1\n2\n");
    EXPECT_FALSE(std::filesystem::exists(other));
}

TEST_F(LogTest, GoesOnAfterTrouble) {
    const auto log = [](unsigned size, const string& fails = "", int n = 1, bool forEver = false) {
        Write(kFile, "old\n");
        std::filesystem::resize_file(Path(kFile), size);
        scene = Scene();
        scene.countLog = true;
        Fail(fails, n, forEver);
        Happened([] { Open(), Say("1"), Say("2"), Say("3"), CloseLogSystem(); });
        return Shown(Messages());
    };
    EXPECT_EQ(log(kLimit - 1), "2\n3\n");  // the first was one too many
    EXPECT_EQ(log(kLimit), "1\n2\n3\n");
    EXPECT_EQ(log(4, "fopen"), "old\n2\n3\n");
    EXPECT_EQ(log(4, "fopen", 1, true), "old\n");
    EXPECT_EQ(log(kLimit, "fopen", 2), "2\n3\n");                              // not opened again
    EXPECT_EQ(log(kLimit, "fseek", 1, true), "old\n\\x00{9999997}1\n2\n3\n");  // no seek, no test of the size
    EXPECT_EQ(log(4, "fputs", 2), "old\n1\n3\n");
}

}  // namespace

// The fakes behind the calls that the daemon makes, in the test program. seam.h renames the calls to the
// fakes, which count them, fail them on request, and record them.
#pragma once

#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

int ZerbinMain();  // the daemon's main

namespace fakes {

using std::string;

const char kConfig[] = "/Library/StartupItems/TovrikZerbin/config";
const char kSetup[] = "/Applications/Pelluria.app/Contents/Resources/SysConfig.dat";

// What a command that contains `part` does, run or read through a pipe: its raw wait statuses one after the
// other (the last for ever; none: 0), what it prints, and the error number it leaves (0: none). Any other
// command prints nothing and gives 0. A redirection and "rm -f" are carried out.
struct Answer {
    string part;
    std::vector<int> statuses;
    string output = "";
    int error = 0;
    size_t given = 0;
};

struct Scene {
    std::map<string, int> calls;                    // made so far, of those that can be made to fail
    std::map<string, std::pair<int, bool>> faults;  // the number of the call that fails, and whether for ever
    bool countLog = false;           // whether calls on the daemon's log file count, and fail, too
    long long start = 0;             // the initial offset of files it opens
    std::set<int> closed;            // of the standard descriptors
    std::vector<Answer> answers;     // the first that fits is taken
    std::vector<const char*> ports;  // the callout paths of the serial services; null: a service without one
    bool refuseMount = false;
    int slept = 0;                            // seconds
    std::function<void()> onSecond = [] {};   // called at the end of each of them
    std::function<void()> onRunLoop = [] {};  // what happens while the run loop runs
    time_t now = 1236243852;                  // 2009-3-5 9:04:12
    std::function<tm*(const time_t*, tm*)> localTime = localtime_r;
    std::vector<size_t> sizes;  // asked for by malloc
    int written = 0;            // what __vsprintf_chk returns, unless 0
};
extern Scene scene;

// Makes the n-th call from now on of that name fail with error number EIO, or all from that one on.
void Fail(const string& call, int n, bool forEver = false);

// Runs `call`. Returns the log lines, without number and time, and between them, after an asterisk, the
// calls, each in a line; the root folder is left out of all paths.
string Happened(const std::function<void()>& call);

// What has not been released: memory blocks, streams (but for the log), pipes, folders, properties of
// services; one per line. Forgets it.
string TakeHeld();

// A disk with the modem's label arrives and is mounted, or refused. To be called from onRunLoop.
void Arrive();

string Content(const string& path);  // of a file
string Path(const string& path);     // below the root, which is relative, as is every path from here on
void Write(const string& path, const string& content);
string Read(const string& path);
void MakeFolder(const string& path);
void Remove(const string& path);
void MakeMachine();  // the daemon's folders, in the folder one is in, no log, and a fresh scene
void MakeVolumes();  // the modem's and the disk image's
string SetupFile(const string& path = "Pelluria", const string& name = "ThirdPartySetup.dmg");
std::vector<Answer> Session();  // of a user who runs the daemon, and a Finder

// The text in printable form: other bytes as \xNN, and more than 20 of a kind in a row as a{21}.
string Shown(const string& text);
string Quoted(const char* text);     // 'text', or null
string OneLine(const string& text);  // with \\n for each line end
int Count(const string& text, const string& part);
string WithoutNumbers(const string& line);  // with a # for each number

using Result = std::ostream&;

// A test on an empty machine that has the daemon's folders and a log. It records what happens in each of its
// cases; CONTRIBUTING.md has the notation. At its end, the record must be golden/<suite>.<test>.log.
class DaemonTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Records the title, which no other case of the test has; what happened, or only the lines that contain
    // one of the parts, and none that only says that a function was entered, unless kEverything is wanted;
    // what `call` writes to its stream; and what is still held. Afterwards the scene is fresh.
    void Case(const string& title, const std::function<void(Result)>& call) { Case(title, {}, call); }
    void Case(const string& title, const std::vector<string>& parts, const std::function<void(Result)>& call);

    const std::vector<string> kEverything = {""}, kNothing = {"\n"};

private:
    string record_;
    std::set<string> titles_;
};

}  // namespace fakes

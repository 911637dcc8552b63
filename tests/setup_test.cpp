#include "fakes.h"
#include "src/ActiveVolumeProgram.h"

using namespace fakes;

namespace {

using SetupTest = DaemonTest;

const char kFile[] = "/SysConfig.dat";
const char kHead[] = "[SD_THIRDPARTY_SETUP]\n", kSetup[] = "SD_THIRD_SETUP=Yes\n",
           kPath[] = "SD_THIRD_FILE_PATH=Pelluria\n", kName[] = "SD_THIRD_FILE_NAME=ThirdPartySetup.dmg\n",
           kOnce[] = "SD_RUN_THIRD_FILE_ONCE=yes\n";

string Section(const string& setup, const string& path = kPath, const string& name = kName,
               const string& once = kOnce) {
    return "[Other]\nSD_THIRD_SETUP=no\n" + string(kHead) + setup + path + name + once + "[End]\n";
}

// Runs the setup; tells how it ended, how long it waited, and what is different in the file.
void Install(Result result, const char* head = "open \"", const string& prefix = Path("/Volumes/")) {
    const string before = Read(kFile);
    result << RunSDProgram(Path(kFile).c_str(), head, prefix.c_str()) << " after " << scene.slept << " s";
    const string after = Read(kFile);
    if (after.size() != before.size()) result << ", another length";
    for (size_t i = 0; i < std::min(after.size(), before.size()); ++i)
        if (after[i] != before[i]) result << ", " << i << " is " << after[i];
}

TEST_F(SetupTest, RunSDProgram) {
    const struct {
        const char* name;
        string file;
        std::vector<Answer> answers = {};
        const char* fails = "none";
        int n = 1;
    } kRows[] = {{"once", Section(kSetup)},
                 {"spaces, capitals, line ends",
                  Section(" SD_THIRD_SETUP = YES  \r\n", "\nSD_THIRD_FILE_PATH= Pelluria\r\n")},
                 {"y", Section("SD_THIRD_SETUP=y\n")},
                 {"Yes and a tab", Section("SD_THIRD_SETUP=Yes\t\n")},
                 {"done", Section(string("SD_THIRD_SETUP=No\0\n", 19))},
                 {"not only once", Section(kSetup, kPath, kName, "SD_RUN_THIRD_FILE_ONCE=no\n")},
                 {"no once", Section(kSetup, kPath, kName, "")},
                 {"no name", Section(kSetup, kPath, "")},
                 {"no path", Section(kSetup, "")},
                 {"no setup", Section("")},
                 {"no section", string(kSetup) + kPath + kName + kOnce},
                 {"name before path", Section(kSetup, kName, kPath)},
                 {"bracket in the path", Section(kSetup, "SD_THIRD_FILE_PATH=Pelluria[1]\n")},
                 {"long and binary lines",
                  Section(string(1 << 20, '\0') + "\n" + string(1 << 20, 'x') + "\n" + kSetup)},
                 {"two dots", Section(kSetup, kPath, "SD_THIRD_FILE_NAME=Driver.Setup.dmg\n")},
                 {"no dot", Section(kSetup, kPath, "SD_THIRD_FILE_NAME=Installer\n")},
                 {"dot first", Section(kSetup, kPath, "SD_THIRD_FILE_NAME=.pkg\n")},
                 {"empty name", Section(kSetup, kPath, "SD_THIRD_FILE_NAME=\n")},
                 {"empty path", Section(kSetup, "SD_THIRD_FILE_PATH=\n")},
                 {"quotes, per cent signs", Section(kSetup, kPath, "SD_THIRD_FILE_NAME=a\"%s%%%d%%%%.dmg\n")},
                 {"invalid conversion", Section(kSetup, kPath, "SD_THIRD_FILE_NAME=a%n.dmg\n")},
                 {"long name", Section(kSetup, kPath, "SD_THIRD_FILE_NAME=" + string(600, 'n') + "\n")},
                 {"folder missing", Section(kSetup, "SD_THIRD_FILE_PATH=none\n")},
                 {"image missing", Section(kSetup, kPath, "SD_THIRD_FILE_NAME=None.dmg\n")},
                 {"image fails", Section(kSetup), {{"dmg", {256}}}},
                 {"package fails", Section(kSetup), {{"pkg", {256}}}},
                 {"not opened", Section(kSetup), {}, "fopen"},
                 {"no memory for the command", Section(kSetup), {}, "malloc", 2},
                 {"no seek", Section(kSetup), {}, "fseek"},
                 {"No not written", Section(kSetup), {}, "fputs"},
                 {"NUL not written", Section(kSetup), {}, "fputc"}};
    for (const char* volume : {"Pelluria", "Third Party Setup", "Driver. Setup", "Installer", ".pkg"})
        MakeFolder(string("/Volumes/") + volume);
    const std::vector<string> kParts = {"RunSDProgram ---", "* system", "SysConfig"};
    for (const auto& row : kRows) {
        Write(kFile, row.file);
        scene.answers = row.answers;
        Fail(row.fails, row.n);
        Case(row.name, kParts, [](Result result) { Install(result); });
    }
    Write(kFile, Section(kSetup));
    for (size_t slashes : {2001u, 2002u})  // the longest command, and one character more
        Case(std::to_string(slashes) + " slashes", {"too long", "* system", "SysConfig"},
             [&](Result result) { Install(result, "open \"", Path("/Volumes") + string(slashes, '/')); });
    Case("twice", kParts, [](Result result) { Install(result), Install(result); });
    Case("nothing", [](Result result) {
        Install(result, ""), Install(result, nullptr), Install(result, "c", "");
        result << RunSDProgram(Path(kFile).c_str(), "c", nullptr) << RunSDProgram("", "c", "/")
               << RunSDProgram(nullptr, "c", "/");
    });
    Remove(kFile);
    Case("missing", [](Result result) { Install(result); });
    MakeFolder(kFile);
    Case("folder", [](Result result) { Install(result); });
}

}  // namespace

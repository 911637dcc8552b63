#include "src/ActiveVolumeProgram.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "fakes.h"

using namespace fakes;
using namespace std::string_literals;

namespace {

using ScannerTest = DaemonTest;
using VolumeTest = DaemonTest;
using SetupTest = DaemonTest;

// ---- The scanner

TEST_F(ScannerTest, TrimKey) {
    Case("the trimmed text and its length", kNothing, [](Result result) {
        for (string text : {"[SD_THIRDPARTY_SETUP]", " \r\n[ a [b] c ]\r\n ", "\ta\t", "a", "", " [] \r\n"}) {
            const int64_t length = TrimKey(text.data());
            result << Quoted(text.c_str()) << " " << length << "\n";
        }
    });
    Case("null", kEverything, [](Result result) { result << TrimKey(nullptr); });
}

TEST_F(ScannerTest, IsPrimaryKey) {
    for (const char* line : {"[Volumes]", "  [ Volumes ]  ; note", "x[Volumes]y"})
        EXPECT_TRUE(IsPrimaryKey(line, strstr(line, "Volumes"), 7)) << line;
    for (const char* line :
         {"[VolumesX]", "Volumes]", "   Volumes]", "[Volumes", "[\tVolumes]", "[Volumes\t]", "[x Volumes]"})
        EXPECT_FALSE(IsPrimaryKey(line, strstr(line, "Volumes"), 7)) << line;
    EXPECT_FALSE(IsPrimaryKey(nullptr, "a", 1));
    EXPECT_FALSE(IsPrimaryKey("[a]", nullptr, 1));
    EXPECT_FALSE(IsPrimaryKey("[a]", "a", -1));
    EXPECT_FALSE(IsPrimaryKey("[a]", "a]", 3));
}

// Looks up one name after the other in a file; [sections] and keys. A limit of 0 is none. After the first
// name, `more` is appended to the file.
void LookUp(Result result, const std::vector<string>& names, int32_t size, int64_t limit, const char* more) {
    FILE* file = fopen(Path("/f").c_str(), "r");
    for (const string& name : names) {
        char value[1100];
        result << name << " at "
               << ReadKeyValue(file, strcpy(value, name.c_str()), size, limit ? &limit : nullptr,
                               name[0] == '[');
        result << ": '" << value << "', the file stands at " << ftell(file) << ", limit " << limit << "\n";
        std::ofstream(Path("/f"), std::ios::app) << std::exchange(more, "");
    }
    fclose(file);
}

TEST_F(ScannerTest, ReadKeyValue) {
    const auto look_up = [&](const string& title, const std::vector<string>& names, int32_t size = 1024,
                             int64_t limit = 1024, const char* more = "") {
        Case(title, {"failed", "error"}, [&](Result result) { LookUp(result, names, size, limit, more); });
    };
    const string kPiece(1023, 'x');
    const std::pair<string, std::vector<string>> kRows[] = {
        {"x\n[S]\nPATH=x\nKEY= yes \nPATHS\n", {"[S]", "KEY", "PATH"}},
        {"[S]\nb=1\nK=x1]\n", {"[S]", "K", "b"}},
        {"S\n[SX]\nS [S]\n[S]\n", {"[ S ]", "K"}},
        {"OLD_KEY_NEW \t= a=b\t\r\nKEY=\n", {" KEY ", "KEY"}},
        {"KEY\r=1\nKEY\nKEY=", {"KEY", "KEY"}},
        {"KEY=a\0b\nKEY\0=c\nKEY=d\n"s, {"KEY", "KEY"}},
        {kPiece + "KEY=1\n" + kPiece + kPiece + "\n[S]\n", {"KEY", "[S]"}},
        {string(1020, 'x') + "KEY=1\nK=2\n", {"KEY", "K"}},
        {"", {"KEY", ""}}};
    for (const auto& [content, names] : kRows)
        Write("/f", content), look_up("in " + Quoted(content.c_str()), names);

    Write("/f", "a\nKEY= 12345 \n[B");
    for (const int32_t size : {0, 1, 4}) look_up("size " + std::to_string(size), {"KEY"}, size);
    for (const int64_t limit : {0, 6, 5})
        look_up("limit " + std::to_string(limit), {"KEY", "KEY"}, 1024, limit);
    Fail("fseek", 1), look_up("no seek to a long value", {"KEY"}, 1024, 1);
    Fail("fseek", 1), look_up("no seek to a bracket", {"B"});
    for (const int call : {1, 2})
        Fail("ftell", call), look_up("ftell fails " + std::to_string(call), {"KEY"});
    Case("no file, no name", kEverything, [](Result result) {
        char name[] = "a";
        result << "without a file " << ReadKeyValue(nullptr, name, 2, nullptr, false);
        result << ", without a name " << ReadKeyValue(stdin, nullptr, 2, nullptr, false);
    });
    look_up("a file that grew after its end was met", {"[C]", "C"}, 1024, 1024, "\nC=1\n");
}

TEST_F(ScannerTest, IsKeyValueCaseEqual) {
    const string kPath = Path("/f"), kLong(1024, 's'), kLongest(1023, 's');
    const auto isTrue = [file = kPath.c_str()](const string& section, const string& key) {
        return IsKeyValueCaseEqual(file, section.c_str(), key.c_str(), "tRue");
    };
    Case("V.k is true", kNothing, [&](Result result) {
        for (const char* content : {"", "[V]\n[W]\nk=true\n", "[V]\nk=\n", "[V]\nk=true\t\n",
                                    "[V]\nk= true \r\n", "[V]\nk=TRUE\n"}) {
            Write("/f", content);
            result << OneLine(content) << ": " << isTrue("V", "k") << "\n";
        }
    });
    EXPECT_TRUE(isTrue("[V]", "k"));
    for (const string& name : {kLong, kLongest}) EXPECT_FALSE(isTrue(name, "k") || isTrue("V", name));
    Case("long section", [&](Result result) { result << isTrue(kLong, "k"); });
    Case("missing", [](Result result) { result << IsKeyValueCaseEqual("/none", "V", "k", "true"); });
    Case("null", kEverything, [&](Result result) {
        const char* file = kPath.c_str();
        result << "file " << IsKeyValueCaseEqual(nullptr, "V", "k", "true");
        result << ", section " << IsKeyValueCaseEqual(file, nullptr, "k", "true");
        result << ", key " << IsKeyValueCaseEqual(file, "V", nullptr, "true");
        result << ", value " << IsKeyValueCaseEqual(file, "V", "k", nullptr);
    });
}

// ---- Volumes

const string kFolder = Path("/Volumes/");
const char* const kPrefix = kFolder.c_str();

TEST_F(VolumeTest, IsVolumeExist) {
    const string kPath = kFolder + "Pelluria";
    const auto look = [&](const char* volume, const char* prefix, int32_t seconds, int appears = -1) {
        scene.onSecond = [appears] {
            if (scene.slept == appears) MakeFolder("/Volumes/Pelluria");
        };
        if (appears == 0) MakeFolder("/Volumes/Pelluria");
        const string when = appears < 0 ? "never there" : "there after " + std::to_string(appears) + " s";
        Case(Quoted(volume) + " in " + Quoted(prefix) + " for " + std::to_string(seconds) + " s, " + when,
             [&](Result result) {
                 result << IsVolumeExist(volume, prefix, seconds) << " after " << scene.slept << " s";
             });
        Remove("/Volumes/Pelluria");
    };
    Case("null", kEverything, [](Result result) { result << IsVolumeExist(nullptr, kPrefix, 10); });
    for (const int32_t seconds : {0, -1, 1}) look("Pelluria", kPrefix, seconds, 0);
    look("Pelluria", kPrefix, 1);
    look("Pelluria", kPrefix, 300, 5);
    look("Pelluria", kPrefix, 5, 6);
    look("none", kPrefix, 299);
    look(kPath.c_str(), nullptr, 3, 2);
    look(kPath.c_str(), "", 3, 4);
    Write("/Volumes/file", "");
    for (const char* name : {"", "file"}) look(name, kPrefix, 2);
    look("", "", 2);
}

TEST_F(VolumeTest, GetTempVolumeName) {
    for (const char* volume : {"Third Party Setup", "Third Party Setup 1", "Third Party Setup 3", "A B Z",
                               "Setup2 Go", "My App", "Driver. Setup", "\xC3\x84 A", "Setup", "a"})
        MakeFolder("/Volumes/"s + volume);
    for (int number = 1; number <= 10; ++number) MakeFolder("/Volumes/a " + std::to_string(number));
    const auto choose = [](Result result, const string& image, int32_t size = 1024, int64_t limit = 1000,
                           const char* prefix = kPrefix) {
        char name[1024] = {};
        image.copy(name, sizeof name);
        result << GetTempVolumeName(name, size, &limit, prefix, 2) << " '" << name << "' limit " << limit
               << "\n";
    };
    Case("the volume of each image", kNothing, [&](Result result) {
        for (const char* image :
             {"ThirdPartySetup", "ABZ", "Setup2Go", "My App", "Driver.Setup", "\xC3\x84\x41", "a"})
            choose(result, image);
    });
    Case("without a prefix", kNothing, [&](Result result) {
        for (const char* prefix : {"", static_cast<const char*>(nullptr)})
            choose(result, ".", 1024, 1000, prefix);
    });
    Case("sizes 20 and 0; limits 24 and -1", kNothing, [&](Result result) {
        for (const int32_t size : {20, 0}) choose(result, "Setup", size);
        for (const int64_t limit : {24, -1}) choose(result, "Setup", 1024, limit);
    });
    Case("a long path", [&](Result result) { choose(result, "Setup", 1024, 23); });
    Case("no volume", [&](Result result) { choose(result, "none"); });
    Case("empty; size 0", kEverything, [&](Result result) { choose(result, ""), choose(result, "", 0); });
    Case("null", kEverything, [](Result result) {
        char name[] = "Setup";
        int64_t limit = 1000;
        result << "limit " << GetTempVolumeName(name, 6, nullptr, kPrefix, 2);
        result << ", name " << GetTempVolumeName(nullptr, 0, &limit, kPrefix, 2);
    });
}

// ---- The third-party setup

const char kFile[] = "/SysConfig.dat";

// The setup file with another line for one of the keys, or without a key.
string Section(const string& change = "") {
    string file = "[Other]\nSD_THIRD_SETUP=no\n" + SetupFile() + "[End]\n";
    const size_t line = file.rfind(change.substr(0, change.find_first_of(" =")) + "=");
    const size_t end = file.find('\n', line) + 1;
    if (!change.empty())
        file.replace(line, end - line, change.find('=') == string::npos ? "" : change + "\n");
    return file;
}

// Runs the setup; tells how it ended, how long it waited, and where the file is different.
void Install(Result result, const char* head = "open \"", const string& prefix = kFolder) {
    const string before = Read(kFile);
    result << RunSDProgram(Path(kFile).c_str(), head, prefix.c_str()) << " after " << scene.slept << " s";
    const string after = Read(kFile);
    if (after.size() != before.size()) result << ", another length";
    for (size_t i = 0; i < std::min(after.size(), before.size()); ++i)
        if (after[i] != before[i]) result << ", " << i << " is " << after[i];
}

TEST_F(SetupTest, RunSDProgram) {
    for (const char* volume : {"Pelluria", "Third Party Setup", "Driver. Setup", "Installer", ".pkg"})
        MakeFolder("/Volumes/"s + volume);
    const std::vector<string> kMessages = {"RunSDProgram ---"}, kCommands = {"RunSDProgram ---", "* system"};
    const auto run = [&](
                         const string& title, const string& file, const std::vector<string>& parts,
                         const std::function<void(Result)>& call = [](Result result) { Install(result); }) {
        Write(kFile, file);
        Case(title, parts, call);
    };
    run("as it is", Section(), kCommands);
    for (const string& change :
         {"SD_THIRD_SETUP = YES  \r"s, "SD_THIRD_SETUP=yes"s, "SD_THIRD_SETUP=y"s, "SD_THIRD_SETUP=Yes\t"s,
          "SD_THIRD_SETUP=No\0"s, "SD_THIRD_SETUP"s, "SD_RUN_THIRD_FILE_ONCE=no"s,
          "SD_RUN_THIRD_FILE_ONCE=YES"s, "SD_RUN_THIRD_FILE_ONCE"s, "SD_THIRD_FILE_PATH= Pelluria\r"s,
          "SD_THIRD_FILE_PATH=Pelluria[1]"s, "SD_THIRD_FILE_PATH="s, "SD_THIRD_FILE_PATH=none"s,
          "SD_THIRD_FILE_NAME"s, "SD_THIRD_FILE_NAME="s, "SD_THIRD_FILE_NAME=Driver.Setup.dmg"s,
          "SD_THIRD_FILE_NAME=Installer"s, "SD_THIRD_FILE_NAME=.pkg"s, "SD_THIRD_FILE_NAME=None.dmg"s})
        run(change, Section(change), kMessages);
    for (const string name : {"a\"%s%%%d%%%%.dmg", "a%n.dmg"})
        run(name, Section("SD_THIRD_FILE_NAME=" + name), kCommands);
    run("no section", "SD_THIRD_SETUP=Yes\nSD_THIRD_FILE_PATH=Pelluria\n", kMessages);
    run("name before path",
        "[SD_THIRDPARTY_SETUP]\nSD_THIRD_SETUP=Yes\nSD_THIRD_FILE_NAME=a.dmg\nSD_THIRD_FILE_PATH=Pelluria\n",
        kMessages);
    run("long and binary lines", string(1 << 20, '\0') + "\n" + string(1 << 20, 'x') + "\n" + Section(),
        {"RunSDProgram exit"});
    run("long name", Section("SD_THIRD_FILE_NAME=" + string(600, 'n')), kMessages);
    for (const char* part : {"dmg", "pkg"}) {
        scene.answers = {{part, {256}}};
        run("the "s + part + " cannot be opened", Section(), kCommands);
    }
    for (const size_t slashes : {2001u, 2002u})  // the longest command, and one character more
        run(std::to_string(slashes) + " slashes", Section(), {"too long", "* system"},
            [&](Result result) { Install(result, "open \"", Path("/Volumes") + string(slashes, '/')); });
    const size_t length =
        (kFolder + "Third Party Setup").size();  // the head and this stay below the buffer's size
    for (const size_t head : {1023 - length, 1024 - length})
        run("head of " + std::to_string(head), Section(), {"small", "RunSDProgram exit"},
            [&](Result result) { Install(result, string(head, 'h').c_str()); });
    run("twice", Section(), {"RunSDProgram exit"},
        [](Result result) { Install(result), Install(result << "; "); });
    Case("nothing to do", kEverything, [](Result result) {
        Install(result << "empty head ", ""), Install(result << "; null head ", nullptr);
        Install(result << "; empty folder ", "c", "");
        result << "; null folder " << RunSDProgram(Path(kFile).c_str(), "c", nullptr);
        result << "; empty file " << RunSDProgram("", "c", "/") << "; null file "
               << RunSDProgram(nullptr, "c", "/");
    });
    Remove(kFile);
    Case("missing", [](Result result) { Install(result); });
    MakeFolder(kFile);
    Case("folder", [](Result result) { Install(result); });
}

TEST_F(SetupTest, MarksBeyond32Bits) {
    MakeVolumes();
    string marked = Section();
    marked.replace(marked.find("Yes"), 3, "No\0"s);
    for (const long long start : {1LL << 31, 1LL << 32}) {
        Write(kFile, "");
        std::filesystem::resize_file(Path(kFile), static_cast<uintmax_t>(start));
        std::ofstream(Path(kFile), std::ios::app | std::ios::binary) << Section();
        scene.start = start;
        EXPECT_TRUE(RunSDProgram(Path(kFile).c_str(), "open \"", kPrefix));
        std::ifstream file(Path(kFile), std::ios::binary);
        string after(marked.size(), '\0');
        file.seekg(start).read(after.data(), static_cast<std::streamsize>(after.size()));
        EXPECT_EQ(Shown(after), Shown(marked));
    }
    Remove(kFile);
}

}  // namespace

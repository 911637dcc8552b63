#include <cstring>

#include "fakes.h"
#include "src/ActiveVolumeProgram.h"

using namespace fakes;

namespace {

using ScannerTest = DaemonTest;

TEST_F(ScannerTest, TrimKey) {
    for (string text : {"[SD_THIRDPARTY_SETUP]", " \r\n[ a [b] c ]\r\n ", "\ta\t", "a", "", " [] \r\n"})
        Case(text, [&](Result result) { result << TrimKey(text.data()) << " " << text.c_str(); });
    Case("null", [](Result result) { result << TrimKey(nullptr); });
}

TEST_F(ScannerTest, IsPrimaryKey) {
    for (const char* line : {"[Volumes]", "  [ Volumes ]  ; note", "x[Volumes]y", "[VolumesX]", "Volumes]",
                             "   Volumes]", "[Volumes", "[\tVolumes]", "[Volumes\t]", "[x Volumes]"})
        Case(line, {"exit"},
             [&](Result result) { result << IsPrimaryKey(line, strstr(line, "Volumes"), 7); });
    Case("null or negative", [](Result result) {
        result << IsPrimaryKey(nullptr, "a", 1) << IsPrimaryKey("[a]", nullptr, 1)
               << IsPrimaryKey("[a]", "a", -1);
    });
}

TEST_F(ScannerTest, ReadKeyValue) {
    const string kPiece(1023, 'x');
    const struct {
        string content;
        std::vector<const char*> names;  // looked up one after the other; [sections] and keys
        int32_t size = 1024;
        int64_t limit = 1024;
        const char* fails = "none";
        int n = 1;
    } kRows[] = {{"x\n[S]\nPATH=x\nKEY= yes \nPATHS\n", {"[S]", "KEY", "PATH"}},
                 {"[S]\nb=1\nK=x[1]\n", {"[S]", "K", "b"}},
                 {"S\n[SX]\nS [S]\n[S]\n", {"[ S ]", "K"}},
                 {"OLD_KEY_NEW \t= a=b\t\r\nKEY=\n", {" KEY ", "KEY"}},
                 {"KEY\r=1\nKEY\nKEY=", {"KEY", "KEY"}},
                 {{"KEY=a\0b\nKEY\0=c\nKEY=d\n", 21}, {"KEY", "KEY"}},
                 {"KEY= 12345 \n", {"KEY"}, 4},
                 {"a\nKEY=12345\n", {"KEY"}, 1024, 6},
                 {"a\nKEY= 12345\n", {"KEY", "KEY"}, 1024, 5},
                 {kPiece + "KEY=1\n" + kPiece + kPiece + "\n[S]\n", {"KEY", "[S]"}},
                 {string(1020, 'x') + "KEY=1\nK=2\n", {"KEY", "K"}},
                 {"", {"KEY"}},
                 {"KEY=1\n", {""}},
                 {"KEY=1\n", {"KEY"}, 0},
                 {"KEY=1\n", {"KEY"}, 1},
                 {"x\nKEY=1\n", {"KEY"}, 1024, 1024, "ftell"},
                 {"x\nKEY=1\n", {"KEY"}, 1024, 1024, "ftell", 2},
                 {"x\nKEY=1\n", {"KEY"}, 1024, 1024, "fgets", 2},
                 {"x\n[KEY=1\n", {"KEY"}, 1024, 1024, "fseek"},
                 {"x\nKEY=1\n", {"KEY"}, 1024, 1, "fseek"}};
    for (const auto& row : kRows) {
        Write("/f", row.content);
        Fail(row.fails, row.n);
        Case(row.content, [&](Result result) {
            FILE* file = fopen(Path("/f").c_str(), "r");
            int64_t limit = row.limit;
            for (const char* name : row.names) {
                char value[1100];
                result << ReadKeyValue(file, strcpy(value, name), row.size, &limit, name[0] == '[');
                result << " '" << value << "' at " << ftell(file) << " limit " << limit << "; ";
            }
            fclose(file);
        });
    }
    Case("null", [](Result result) {
        char name[] = "a";
        int64_t limit = 1024;
        result << ReadKeyValue(nullptr, name, 2, &limit, false)
               << ReadKeyValue(stdin, nullptr, 2, &limit, false);
    });
}

TEST_F(ScannerTest, IsKeyValueCaseEqual) {
    const string kLong(1024, 's'), kLongest(1023, 's'), kFile = Path("/f"), kFolder = Path("/Volumes");
    const char *file = kFile.c_str(), *on = "[V]\nk=true\n";
    const struct {
        const char *content, *file, *section, *key, *value;
    } kRows[] = {{"[V]\nk=TRUE\n", file, "V", "k", "true"},
                 {"[V]\nk= true \r\n", file, "[V]", "k", "tRue"},
                 {"[V]\nk=true\t\n", file, "V", "k", "true"},
                 {"[V]\nk=\n", file, "V", "k", "true"},
                 {"", file, "V", "k", "true"},
                 {"[V]\n[W]\nk=true\n", file, "V", "k", "true"},
                 {on, file, kLong.c_str(), "k", "true"},
                 {on, file, "V", kLong.c_str(), "true"},
                 {on, file, kLongest.c_str(), "k", "true"},
                 {on, file, "V", kLongest.c_str(), "true"},
                 {on, nullptr, "V", "k", "true"},
                 {on, file, nullptr, "k", "true"},
                 {on, file, "V", nullptr, "true"},
                 {on, file, "V", "k", nullptr},
                 {"", "/none", "V", "k", "true"},
                 {"", kFolder.c_str(), "V", "k", "true"}};
    for (const auto& row : kRows) {
        Write("/f", row.content);
        Case(row.content, {"*", "IsKeyValueCa", "ReadKeyValue Enter"}, [&](Result result) {
            result << IsKeyValueCaseEqual(row.file, row.section, row.key, row.value);
        });
    }
}

}  // namespace

#include "Common/INI.h"

#include "fakes.h"

using namespace fakes;

namespace {

using IniTest = DaemonTest;

void Select(const string& lines) {
    Write("/f", Lines(lines));
    SetIniFileName(Path("/f").c_str());
}

string Show(const char* text) {
    return text ? "'" + string(text) + "' " : "null ";
}

TEST_F(IniTest, ReadString) {
    const auto check = [&](const string& content) {
        Select(content);
        Case(content, [](Result result) { result << Show(ReadString("A", "name", "D")); });
    };
    for (const char* values : {"[A]|  name =  x y  |", "[A]|name=   |", "[A]|name=a=b|", "[A]|name=\tx\t|",
                               "[A]|name\t=x|", "[A]|name=x", "\r|[\rA]\r|\r||na\rme=x\r|", "[A]|name=x~y|",
                               "\x80\xFE|[A]|name=\xC3\xA9|", "[A]|name=[x]|"})
        check(values);
    for (const char* searches :
         {"; [A] here|name=x|", "[ A ]|name=x|", "[a]|name=x|", "[A]|Name=x|", "[A]|b=1|[B]|name=x|",
          "[A]|b=]1[|name=x|", "[A]|b=1]|name=x|", "[A]|b=[1|name=x|", "[A]|path=/x/name|",
          "[A]|xname=1|name=2|", "[A]|name  |b=1|", "", "~|[A]|name=x|"})
        check(searches);
    const string kMegabyte(1 << 20, 'x');
    for (const string& lines :
         {kMegabyte + "|[A]|" + kMegabyte + "|name=x|", "[A]|name=" + kMegabyte + "|", "[A]|" + kMegabyte})
        check(lines);
}

TEST_F(IniTest, Calls) {
    char spaces[] = "  ", text[] = "  a b  ";
    Select("[A]|number=3|name=  x  |");
    Case("other section", [](Result result) {
        result << Show(ReadString("B", "name", "D")) << Show(ReadStringEx("B", "name", "D"));
    });
    Case("other key", [](Result result) {
        result << Show(ReadStringEx("A", "no", nullptr)) << Show(GetInitKey("", "A", "no"));
    });
    Case("found", [](Result result) {
        result << Show(ReadStringEx("A", "name", nullptr)) << Show(GetInitKey(nullptr, "A", "name"))
               << ReadInteger("A", "number", -7);
        const char* first = ReadString("A", "name", "D");
        result << Show(ReadString("A", "number", "D")) << Show(first);
    });
    Case("texts", [&](Result result) {
        result << Show(GetKeyValue("a= b=c ")) << Show(GetKeyValue("a")) << Show(Trim(text)) << Show(text)
               << Show(Trim(spaces)) << SectionExistsInLine("x[A]", "A") << SectionExistsInLine("[a]", "A");
    });
    Case("null", [&](Result result) {
        result << Show(ReadString(nullptr, "name", "D")) << Show(ReadString("A", nullptr, "D"))
               << Show(ReadString("A", "name", nullptr)) << Show(ReadStringEx(nullptr, "name", "D"))
               << Show(ReadStringEx("A", nullptr, "D")) << ReadInteger(nullptr, "name", 7)
               << ReadInteger("A", nullptr, 7) << Show(GetInitKey("", nullptr, "name"))
               << Show(GetInitKey("", "A", nullptr)) << Show(GetKeyValue(nullptr)) << Show(Trim(nullptr))
               << Show(ReadLine(nullptr)) << SetIniFileName(nullptr) << SectionExists(nullptr, "A")
               << SectionExists(stdin, nullptr) << KeyExists(nullptr, "A") << KeyExists(stdin, nullptr)
               << SectionExistsInLine(nullptr, "A") << SectionExistsInLine("[A]", nullptr)
               << KeyExistsInLine(nullptr, "A") << KeyExistsInLine(text, nullptr);
    });
    Case("missing",
         [](Result result) { result << SetIniFileName("/none") << Show(ReadString("A", "number", "D")); });
    Case("gone", [](Result result) {
        Remove("/f"), result << Show(ReadString("A", "name", "D")) << Show(ReadStringEx("A", "name", "D"));
    });
    Case("folder", [](Result result) {
        result << SetIniFileName(Path("/Volumes").c_str()) << Show(ReadString("A", "name", "D"));
    });
    Select("[A]|name=x|");
    Case("path of 1100", [](Result result) {  // read under its first 1,023 characters, which name the folder
        const string path = Path(string(1090, '/') + "f");
        result << SetIniFileName(path.c_str()) << Show(ReadString("A", "name", "D"));
    });
    for (size_t length : {125u, 126u}) {  // with its bracket, a section of 126 characters is all that counts
        Select("[" + string(length, 's') + "|name=x|");
        Case("long section",
             [](Result result) { result << Show(ReadString(string(200, 's').c_str(), "name", "D")); });
    }
}

TEST_F(IniTest, ReadLine) {
    for (const char* content : {"", "||", "a|\r||b c", "a|"}) {
        Write("/f", Lines(content));
        Case(content, [](Result result) {
            FILE* file = fopen(Path("/f").c_str(), "rb");
            while (const char* line = ReadLine(file)) result << Show(line) << "to " << ftell(file) << ", ";
            fclose(file);
        });
    }
    for (bool forEver : {false, true}) {
        Select("[A]|name=x|");
        Fail("fgetc", 6, forEver), Fail("fgets", 2, forEver);
        Case("read error", [](Result result) { result << Show(ReadString("A", "name", "D")); });
    }
}

}  // namespace

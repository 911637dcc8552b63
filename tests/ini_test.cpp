#include "Common/INI.h"

#include "fakes.h"

using namespace fakes;

namespace {

using IniTest = DaemonTest;

void Select(const string& lines) {
    Write("/f", Lines(lines));
    SetIniFileName(Path("/f").c_str());
}

TEST_F(IniTest, ReadString) {
    const auto check = [&](const string& content) {
        Select(content);
        Case(content, [](Result result) { result << Quoted(ReadString("A", "name", "D")); });
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
        result << Quoted(ReadString("B", "name", "D")) << Quoted(ReadStringEx("B", "name", "D"));
    });
    Case("other key", [](Result result) {
        result << Quoted(ReadStringEx("A", "no", nullptr)) << Quoted(GetInitKey("", "A", "no"));
    });
    Case("found", [](Result result) {
        result << Quoted(ReadStringEx("A", "name", nullptr)) << Quoted(GetInitKey(nullptr, "A", "name"))
               << ReadInteger("A", "number", -7);
        const char* first = ReadString("A", "name", "D");
        result << Quoted(ReadString("A", "number", "D")) << Quoted(first);
    });
    Case("texts", [&](Result result) {
        result << Quoted(GetKeyValue("a= b=c ")) << Quoted(GetKeyValue("a")) << Quoted(Trim(text))
               << Quoted(text) << Quoted(Trim(spaces)) << SectionExistsInLine("x[A]", "A")
               << SectionExistsInLine("[a]", "A");
    });
    Case("null", [&](Result result) {
        result << Quoted(ReadString(nullptr, "name", "D")) << Quoted(ReadString("A", nullptr, "D"))
               << Quoted(ReadString("A", "name", nullptr)) << Quoted(ReadStringEx(nullptr, "name", "D"))
               << Quoted(ReadStringEx("A", nullptr, "D")) << ReadInteger(nullptr, "name", 7)
               << ReadInteger("A", nullptr, 7) << Quoted(GetInitKey("", nullptr, "name"))
               << Quoted(GetInitKey("", "A", nullptr)) << Quoted(GetKeyValue(nullptr))
               << Quoted(Trim(nullptr)) << Quoted(ReadLine(nullptr)) << SetIniFileName(nullptr)
               << SectionExists(nullptr, "A") << SectionExists(stdin, nullptr) << KeyExists(nullptr, "A")
               << KeyExists(stdin, nullptr) << SectionExistsInLine(nullptr, "A")
               << SectionExistsInLine("[A]", nullptr) << KeyExistsInLine(nullptr, "A")
               << KeyExistsInLine(text, nullptr);
    });
    Case("missing",
         [](Result result) { result << SetIniFileName("/none") << Quoted(ReadString("A", "number", "D")); });
    Case("gone", [](Result result) {
        Remove("/f"),
            result << Quoted(ReadString("A", "name", "D")) << Quoted(ReadStringEx("A", "name", "D"));
    });
    Case("folder", [](Result result) {
        result << SetIniFileName(Path("/Volumes").c_str()) << Quoted(ReadString("A", "name", "D"));
    });
    Select("[A]|name=x|");
    Case("path of 1100", [](Result result) {  // read under its first 1,023 characters, which name the folder
        const string path = Path(string(1090, '/') + "f");
        result << SetIniFileName(path.c_str()) << Quoted(ReadString("A", "name", "D"));
    });
    for (size_t length : {125u, 126u}) {  // with its bracket, a section of 126 characters is all that counts
        Select("[" + string(length, 's') + "|name=x|");
        Case("long section",
             [](Result result) { result << Quoted(ReadString(string(200, 's').c_str(), "name", "D")); });
    }
}

TEST_F(IniTest, ReadLine) {
    for (const char* content : {"", "||", "a|\r||b c", "a|"}) {
        Write("/f", Lines(content));
        Case(content, [](Result result) {
            FILE* file = fopen(Path("/f").c_str(), "rb");
            while (const char* line = ReadLine(file)) result << Quoted(line) << "to " << ftell(file) << ", ";
            fclose(file);
        });
    }
    for (bool forEver : {false, true}) {
        Select("[A]|name=x|");
        Fail("fgetc", 6, forEver), Fail("fgets", 2, forEver);
        Case("read error", [](Result result) { result << Quoted(ReadString("A", "name", "D")); });
    }
}

}  // namespace

#include "Common/INI.h"

#include "fakes.h"

using namespace fakes;
using namespace std::string_literals;

namespace {

using IniTest = DaemonTest;

bool Select(const string& content) {
    Write("/f", content);
    return SetIniFileName(Path("/f").c_str());
}

string Show(const char* text) {
    return text ? "'" + string(text) + "' " : "null ";
}

TEST_F(IniTest, ReadString) {
    const string kMegabyte(1 << 20, 'x');
    for (const string& content : {"[A]\n  name =  x y  \n"s,
                                  "[A]\nname=   \n"s,
                                  "[A]\nname=a=b\n"s,
                                  "[A]\nname=\tx\t\n"s,
                                  "[A]\nname\t=x\n"s,
                                  "[A]\nname=x"s,
                                  "\r\n[\rA]\r\n\r\n\nna\rme=x\r\n"s,
                                  "; [A] here\nname=x\n"s,
                                  "[ A ]\nname=x\n"s,
                                  "[a]\nname=x\n"s,
                                  "[A]\nName=x\n"s,
                                  "[A]\nb=1\n[B]\nname=x\n"s,
                                  "[A]\nb=]1[\nname=x\n"s,
                                  "[A]\nb=1]\nname=x\n"s,
                                  "[A]\nname=[x]\n"s,
                                  "[A]\npath=/x/name\n"s,
                                  "[A]\nxname=1\nname=2\n"s,
                                  "[A]\nname  \nb=1\n"s,
                                  ""s,
                                  "\0\n[A]\nname=x\n"s,
                                  "[A]\nname=x\0y\n"s,
                                  "\x80\xFE\n[A]\nname=\xC3\xA9\n"s,
                                  kMegabyte + "\n[A]\n" + kMegabyte + "\nname=x\n",
                                  "[A]\nname=" + kMegabyte + "\n",
                                  "[A]\n" + kMegabyte}) {
        Select(content);
        Case(content, [](Result result) { result << Show(ReadString("A", "name", "D")); });
    }
}

TEST_F(IniTest, Calls) {
    char spaces[] = "  ", text[] = "  a b  ";
    Select("[A]\nnumber=3\nname=  x  \n");
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
        result << Show(GetKeyValue("a= b=c ")) << Show(Trim(text)) << Show(text) << Show(Trim(spaces));
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
    Write("/f", "[A]\nname=x\n");
    Case("path of 1100", [](Result result) {  // read under its first 1,023 characters, which name the folder
        const string path = Path(string(1090, '/') + "f");
        result << SetIniFileName(path.c_str()) << Show(ReadString("A", "name", "D"));
    });
    for (size_t length : {125u, 126u}) {  // with its bracket, a section of 126 characters is all that counts
        Select("[" + string(length, 's') + "\nname=x\n");
        Case("long section",
             [](Result result) { result << Show(ReadString(string(200, 's').c_str(), "name", "D")); });
    }
}

TEST_F(IniTest, ReadLine) {
    for (const char* content : {"", "\n\n", "a\n\r\n\nb c", "a\n"}) {
        Write("/f", content);
        Case(content, [](Result result) {
            FILE* file = fopen(Path("/f").c_str(), "rb");
            while (const char* line = ReadLine(file)) result << Show(line) << "to " << ftell(file) << ", ";
            fclose(file);
        });
    }
    for (bool forEver : {false, true}) {
        Select("[A]\nname=x\n");
        Fail("fgetc", 6, forEver), Fail("fgets", 2, forEver);
        Case("read error", [](Result result) { result << Show(ReadString("A", "name", "D")); });
    }
}

}  // namespace

#include "Common/INI.h"

#include "fakes.h"

using namespace fakes;
using namespace std::string_literals;

namespace {

using IniTest = DaemonTest;

void Select(const string& content) {
    Write("/f", content);
    SetIniFileName(Path("/f").c_str());
}

TEST_F(IniTest, FindsTheValue) {
    const string kMegabyte(1 << 20, 'x'), kSection(200, 's');
    const auto find = [&](const string& section, const std::vector<string>& contents) {
        Case("name in section " + section, kNothing, [&](Result result) {
            for (const string& content : contents) {
                Select(content);
                result << Shown(OneLine(content)) << ": "
                       << Quoted(ReadString(section.c_str(), "name", "default")) << "\n";
            }
        });
    };
    // clang-format off
    find("A", {
        "[A]\n  name =  x y  \n", "[A]\nname=   \n", "[A]\nname=a=b\n", "[A]\nname=\tx\t\n", "[A]\nname\t=x\n",
        "[A]\nname=x", "\r\n[\rA]\r\n\r\n\nna\rme=x\r\n", "[A]\nname=x\0y\n"s, "\x80\xFE\n[A]\nname=\xC3\xA9\n",
        "[A]\nname=[x]\n", "; [A] here\nname=x\n", "[ A ]\nname=x\n", "[a]\nname=x\n", "[A]\nName=x\n",
        "[A]\nb=1\n[B]\nname=x\n", "[A]\nb=]1[\nname=x\n", "[A]\nb=1]\nname=x\n", "[A]\nb=[1\nname=x\n",
        "[A]\npath=/x/name\n", "[A]\nxname=1\nname=2\n", "[A]\nname  \nb=1\n", "", "\0\n[A]\nname=x\n"s,
        kMegabyte + "\n[A]\n" + kMegabyte + "\nname=x\n", "[A]\nname=" + kMegabyte + "\n", "[A]\n" + kMegabyte});
    // clang-format on
    // With its bracket, 126 characters are all that count.
    find(kSection, {"[" + string(125, 's') + "\nname=x\n", "[" + string(126, 's') + "\nname=x\n"});
}

TEST_F(IniTest, Calls) {
    Select("[A]\nnumber=3\nname=  x  \n");
    const auto read = [](Result result, const char* section, const char* key) {
        result << "ReadString " << Quoted(ReadString(section, key, "default"));
        result << ", ReadStringEx " << Quoted(ReadStringEx(section, key, nullptr));
        result << ", GetInitKey " << Quoted(GetInitKey("", section, key));
        result << ", ReadInteger " << ReadInteger(section, key, -7);
    };
    const std::vector<string> kMessages = {"INI:"};
    Case("found", [&](Result result) { read(result, "A", "name"); });
    Case("another section", kMessages, [&](Result result) { read(result, "B", "name"); });
    Case("another key", kMessages, [&](Result result) { read(result, "A", "no"); });
    Case("no section", kMessages, [&](Result result) { read(result, nullptr, "name"); });
    Case("no key", kMessages, [&](Result result) { read(result, "A", nullptr); });
    Case("no argument", kMessages, [](Result result) {
        result << "ReadString " << Quoted(ReadString("A", "name", nullptr)) << ", GetKeyValue "
               << Quoted(GetKeyValue(nullptr)) << ", Trim " << Quoted(Trim(nullptr)) << ", ReadLine "
               << Quoted(ReadLine(nullptr)) << ", SetIniFileName " << SetIniFileName(nullptr)
               << ", SectionExists " << SectionExists(nullptr, nullptr) << ", KeyExists "
               << KeyExists(nullptr, nullptr) << ", SectionExistsInLine "
               << SectionExistsInLine(nullptr, nullptr) << ", KeyExistsInLine "
               << KeyExistsInLine(nullptr, nullptr);
    });
    Case("no second argument", kMessages, [](Result result) {
        char line[] = "a";
        result << "SectionExists " << SectionExists(stdin, nullptr) << ", KeyExists "
               << KeyExists(stdin, nullptr) << ", SectionExistsInLine " << SectionExistsInLine(line, nullptr)
               << ", KeyExistsInLine " << KeyExistsInLine(line, nullptr);
    });
    Case("a file that cannot be selected", kMessages, [&](Result result) {
        result << "SetIniFileName " << SetIniFileName("/none") << ", ";
        read(result, "A", "number");
    });
    Case("a file that is gone", kMessages, [&](Result result) { Remove("/f"), read(result, "A", "name"); });
    Case("a folder", kMessages, [&](Result result) {
        result << "SetIniFileName " << SetIniFileName(Path("/Volumes").c_str()) << ", ";
        read(result, "A", "name");
    });
    Write("/f", "[A]\nname=x\n");
    Case("a path of 1,100 characters is cut", [](Result result) {  // and then names the folder
        result << SetIniFileName(Path(string(1090, '/') + "f").c_str()) << " "
               << ReadString("A", "name", "default");
    });
    for (const bool forEver : {false, true}) {
        Select("[A]\nname=x\n");
        Fail("fgets", 2, forEver);
        Case(forEver ? "no line can be read" : "a line cannot be read", kMessages,
             [](Result result) { result << ReadString("A", "name", "default"); });
    }
}

TEST_F(IniTest, LinesAndTexts) {
    for (const char* content : {"", "\n\n", "a\n\r\n\nb c", "a\n"}) {
        Write("/f", content);
        Case("lines of '" + string(content) + "'", kNothing, [](Result result) {
            FILE* file = fopen(Path("/f").c_str(), "rb");
            while (const char* line = ReadLine(file)) result << Quoted(line) << " to " << ftell(file) << ", ";
            fclose(file);
        });
    }
    char spaces[] = "  ", text[] = "  a b  ";
    EXPECT_STREQ(GetKeyValue("a= b=c "), " b=c ");
    EXPECT_EQ(GetKeyValue("a"), nullptr);
    EXPECT_STREQ(Trim(text), "a b");
    EXPECT_STREQ(text, "  a b");
    EXPECT_STREQ(Trim(spaces), "");
    EXPECT_TRUE(SectionExistsInLine("x[A]", "A"));
    EXPECT_FALSE(SectionExistsInLine("[a]", "A"));
    Select("[A]\nnumber=3\nname=x\n");
    const char* first = ReadString("A", "name", "default");
    EXPECT_STREQ(ReadString("A", "number", "default"), "3");
    EXPECT_STREQ(first, "r=3");  // where the value of "name" stood: the line has one buffer
}

}  // namespace

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
    const string kMegabyte(1 << 20, 'x'), kLong(126, 's');
    const struct {
        string content, value;
    } kRows[] = {{"[A]\n  name =  x y  \n", "x y"},
                 {"[A]\nname=   \n", ""},
                 {"[A]\nname=a=b\n", "a=b"},
                 {"[A]\nname=\tx\t\n", "\tx\t"},
                 {"[A]\nname\t=x\n", "default"},
                 {"[A]\nname=x", "x\xFF"},
                 {"\r\n[\rA]\r\n\r\n\nna\rme=x\r\n", "x"},
                 {"[A]\nname=x\0y\n"s, "x"},
                 {"\x80\xFE\n[A]\nname=\xC3\xA9\n", "\xC3\xA9"},
                 {"[A]\nname=[x]\n", "[x]"},
                 {"; [A] here\nname=x\n", "x"},
                 {"[ A ]\nname=x\n", "default"},
                 {"[a]\nname=x\n", "default"},
                 {"[A]\nName=x\n", "default"},
                 {"[A]\nb=1\n[B]\nname=x\n", "default"},
                 {"[A]\nb=]1[\nname=x\n", "default"},
                 {"[A]\nb=1]\nname=x\n", "x"},
                 {"[A]\nb=[1\nname=x\n", "x"},
                 {"[A]\npath=/x/name\n", "/x/name"},
                 {"[A]\nxname=1\nname=2\n", "2"},
                 {"[A]\nname  \nb=1\n", ""},
                 {"", "default"},
                 {"\0\n[A]\nname=x\n"s, "default"},
                 {kMegabyte + "\n[A]\n" + kMegabyte + "\nname=x\n", "x"},
                 {"[A]\nname=" + kMegabyte + "\n", string(1018, 'x')},
                 {"[A]\n" + kMegabyte, "default"}};
    for (const auto& [content, value] : kRows) {
        Select(content);
        EXPECT_EQ(ReadString("A", "name", "default"), value) << Shown(content);
    }
    for (const size_t length : {125u, 126u}) {  // with its bracket, 126 characters are all that count
        Select("[" + string(length, 's') + "\nname=x\n");
        EXPECT_STREQ(ReadString(string(200, 's').c_str(), "name", "default"), length < 126 ? "default" : "x");
    }
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
    for (const auto& [content, lines] : {std::pair{"", "'\xFF' to 0, "},
                                         {"\n\n", "'\xFF' to 2, "},
                                         {"a\n\r\n\nb c", "'a' to 2, 'b c\xFF' to 8, "},
                                         {"a\n", "'a' to 2, '\xFF' to 2, "}}) {
        Write("/f", content);
        FILE* file = fopen(Path("/f").c_str(), "rb");
        string read;
        while (const char* line = ReadLine(file))
            read += Quoted(line) + " to " + std::to_string(ftell(file)) + ", ";
        EXPECT_EQ(read, lines);
        fclose(file);
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

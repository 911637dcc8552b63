// The scene, the record, and the cases.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <sstream>

#include "Common/Log.h"
#include "fake.h"

namespace fakes {

Scene scene;
string g_happened;
std::map<const void*, string> g_held;

namespace {

string Replaced(string text, const string& part, const string& by) {
    for (size_t at; (at = text.find(part)) != string::npos;) text.replace(at, part.size(), by);
    return text;
}

string WithoutRoot(const string& text) {
    return Replaced(text, ZERBIN_ROOT, "");
}

// The lines; of groups that are repeated, with other numbers perhaps, only the last.
std::vector<string> Folded(const std::vector<string>& lines) {
    constexpr size_t kLongestGroup = 12, kFewestTimes = 3;
    std::vector<string> folded;
    for (size_t at = 0; at < lines.size();) {
        size_t length = 0, times = 0;
        while (times < kFewestTimes && length < kLongestGroup) {
            size_t end = at + ++length;
            while (end < lines.size() && WithoutNumbers(lines[end]) == WithoutNumbers(lines[end - length]))
                ++end;
            times = (end - at) / length;
        }
        if (times < kFewestTimes) {
            folded.push_back(lines[at++]);
            continue;
        }
        const string unit = length == 1 ? " line " : " lines ";
        folded.push_back("(" + std::to_string(length) + unit + std::to_string(times) + " times, at last:)");
        at += times * length;
        for (; length > 0; --length) folded.push_back(lines[at - length]);
    }
    return folded;
}

}  // namespace

void NoteLine(const string& line) {
    g_happened += OneLine(WithoutRoot(line)) + "\n";
}

bool Fails(const string& call) {
    const int n = ++scene.calls[call];
    const auto fault = scene.faults.find(call);
    const bool fails = fault != scene.faults.end() &&
                       (fault->second.second ? n >= fault->second.first : n == fault->second.first);
    errno = fails ? EIO : kErrorOfSuccess;
    return fails;
}

bool Drop(const void* held, const string& call) {
    const auto known = g_held.find(held);
    if (known == g_held.end()) return false;
    if (known->second != kLogHeld) Note("* " + call + known->second.substr(known->second.find(' ')));
    g_held.erase(known);
    return true;
}

void Fail(const string& call, int n, bool forEver) {
    scene.faults[call] = {scene.calls[call] + n, forEver};
}

string Happened(const std::function<void()>& call) {
    g_happened.clear();
    call();
    scene.faults.clear();
    return std::exchange(g_happened, "");
}

string TakeHeld() {
    std::multiset<string> held;
    for (const auto& [what, name] : std::map<const void*, string>(g_held)) {
        if (name == kLogHeld) continue;
        held.insert(WithoutRoot(name) + "\n");
        if (name.rfind("block", 0) == 0) free(const_cast<void*>(what));
        if (name.rfind("stream", 0) == 0) fclose(static_cast<FILE*>(const_cast<void*>(what)));
        g_held.erase(what);
    }
    return std::accumulate(held.begin(), held.end(), string());
}

string Content(const string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

string Path(const string& path) {
    return ZERBIN_ROOT + path;
}

void Write(const string& path, const string& content) {
    Remove(path);  // a file that is emptied instead would be written to the disk at once
    std::ofstream(Path(path), std::ios::binary) << content;
}

string Read(const string& path) {
    return Content(Path(path));
}

void MakeFolder(const string& path) {
    std::filesystem::create_directories(Path(path));
}

void Remove(const string& path) {
    std::filesystem::remove_all(Path(path));
}

string Shown(const string& text) {
    string shown;
    for (size_t at = 0, end; at < text.size(); at = end) {
        char byte[8];
        const int code = text[at] & 0xFF;
        snprintf(byte, sizeof byte, isprint(code) || code == '\n' ? "%c" : "\\x%02X", code);
        end = std::min(text.find_first_not_of(text[at], at), text.size());
        const bool isRun = end - at > 20;
        shown += byte + (isRun ? "{" + std::to_string(end - at) + "}" : "");
        if (!isRun) end = at + 1;
    }
    return shown;
}

string WithoutNumbers(const string& line) {
    string text;
    for (const char c : line)
        if (isdigit(c & 0xFF) == 0 || text.empty() || text.back() != '#') text += isdigit(c & 0xFF) ? '#' : c;
    return text;
}

string OneLine(const string& text) {
    return Replaced(text, "\n", "\\n");
}

string Quoted(const char* text) {
    return text != nullptr ? "'" + string(text) + "'" : "null";
}

int Count(const string& text, const string& part) {
    int count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != string::npos; ++at) ++count;
    return count;
}

void MakeVolumes() {
    for (const char* volume : {"/Volumes/Pelluria", "/Volumes/Third Party Setup"}) MakeFolder(volume);
}

string SetupFile(const string& path, const string& name) {
    return "[SD_THIRDPARTY_SETUP]\nSD_THIRD_SETUP=Yes\nSD_THIRD_FILE_PATH=" + path +
           "\nSD_THIRD_FILE_NAME=" + name + "\nSD_RUN_THIRD_FILE_ONCE=Yes\n";
}

std::vector<Answer> Session() {
    return {{"ps aux", {}, "mika\n"}, {"stat", {}, "mika\n"}, {"Finder", {}, "312 ?? 0:00.31 Finder.app\n"}};
}

void MakeMachine() {
    setenv("TZ", "UTC", 1);
    tzset();
    Remove(kLog);
    for (const char* folder : {"/Volumes", "/usr/local/DatacardService", "/Library/StartupItems/TovrikZerbin",
                               "/Applications/Pelluria.app/Contents/Resources"})
        MakeFolder(folder);
    scene = Scene();
}

void DaemonTest::Case(const string& title, const std::vector<string>& parts,
                      const std::function<void(Result)>& call) {
    InitLogSystem(Path(kLog).c_str());
    EXPECT_TRUE(!title.empty() && titles_.insert(title).second) << "needs a title of its own: " << title;
    std::ostringstream result;
    std::vector<string> lines;
    std::istringstream happened(Happened([&] { call(result); }));
    for (string line; std::getline(happened, line);) {
        const auto isInLine = [&](const string& part) { return line.find(part) != string::npos; };
        const bool isWanted = parts.empty() || std::any_of(parts.begin(), parts.end(), isInLine);
        const bool isEnter = line.size() > 6 && line.rfind(" Enter") == line.size() - 6;
        if (isWanted && (!isEnter || parts == kEverything)) lines.push_back(Shown(line));
    }
    record_ += "== " + Shown(OneLine(WithoutRoot(title))) + "\n";
    for (const string& line : Folded(lines)) record_ += line + "\n";
    string results = Shown(WithoutRoot(result.str()));
    while (!results.empty() && results.back() == '\n') results.pop_back();
    if (!results.empty()) record_ += "-> " + results + "\n";
    std::istringstream held(TakeHeld());
    for (string line; std::getline(held, line);) record_ += "held: " + line + "\n";
    scene = Scene();
}

void DaemonTest::SetUp() {
    std::filesystem::current_path(UNIT_FOLDER);
    Remove("");
    MakeMachine();
}

void DaemonTest::TearDown() {
    CloseLogSystem();
    EXPECT_EQ(TakeHeld(), "");
    EXPECT_TRUE(std::exchange(g_held, {}).empty()) << "the log was opened twice";
    if (titles_.empty()) return;
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const string name = string(test->test_suite_name()) + "." + test->name() + ".log";
    std::filesystem::remove(name);
    if (Content(GOLDEN + name) == record_) return;
    std::ofstream(name, std::ios::binary) << record_;
    EXPECT_EQ(std::system(("diff -u '" GOLDEN + name + "' " + name).c_str()), 0)
        << "the record differs as shown; to accept it: cp " UNIT_FOLDER "/" << name << " tests/golden/";
}

}  // namespace fakes

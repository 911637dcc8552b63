// The daemon in trouble: calls that fail, and content that means harm.
#include "Common/Log.h"
#include "fakes.h"

using namespace fakes;

int ZerbinMain();  // the daemon's main

namespace {

const char kFile[] = "/Applications/Pelluria.app/Contents/Resources/SysConfig.dat";

string SetupFile(const string& path, const string& name) {
    return "[SD_THIRDPARTY_SETUP]\nSD_THIRD_SETUP=Yes\nSD_THIRD_FILE_PATH=" + path +
           "\nSD_THIRD_FILE_NAME=" + name + "\nSD_RUN_THIRD_FILE_ONCE=Yes\n";
}
const string kPending = SetupFile("Pelluria", "ThirdPartySetup.dmg");
const string kMarked = string(kPending).replace(kPending.find("Yes"), 3, "No", 3);

void Prepare(const string& volume, const string& setup) {
    Remove("/usr/local/DatacardService/Zerbin.log");
    Write("/Library/StartupItems/TovrikZerbin/config",
          "[Volumes]\nname=" + volume + "\npath1=" + volume + "\ndisable_cdrom=no\n");
    Write(kFile, setup);
    scene = Scene();
    scene.answers = {{"ps aux", {}, "mika\n"}, {"stat", {}, "mika\n"}, {"Finder", {}, "Finder.app\n"}};
    scene.onRunLoop = Arrive;
}

// What happens in each is what its name says.
const string kScenarios[] = {"start",
                             "arrival, set up before",
                             "arrival",
                             "refused arrival",
                             "arrival, arrival",
                             "start with the modem",
                             "start, the log fails too"};

// One of these is logged when the call fails; or else all goes on as if it had not failed.
const std::map<string, std::vector<string>> kMessages = {
    {"malloc", {"malloc failed", "GetTempVolumeName failed,  RunSDProgram exit false"}},
    {"fopen", {"open file: ", "open file [", "--- open /", "fopen failed for ["}},
    {"fgets", {"fgets pname failed!", "fgets active failed!", "not found the ", "ReadKeyValue exit failed"}},
    {"fseek", {"fseek error"}},
    {"ftell", {"ftell error"}},
    {"fputs", {"fputc error."}},
    {"fputc", {"fputc error."}},
    {"fread", {"fread failed"}},
    {"fclose", {}},
    {"opendir", {" failed, open again"}},
    {"popen", {"create pipe failed!", "fgets active failed!"}},
    {"system", {"because fork or waitpid"}}};

int Count(const string& log, const std::vector<string>& messages) {
    int count = 0;
    for (const string& message : messages)
        for (size_t at = 0; (at = log.find(message, at)) != string::npos; ++at) ++count;
    return count;
}

struct Life {
    string log, served;  // served: what one more arrival brings, when all is well again
    std::map<string, int> calls;
    bool wasMarked;
};

Life Live(const string& scenario, const string& call = "", int n = 0, bool isForEver = false) {
    Prepare("Pelluria", Count(scenario, {"set up before"}) ? kMarked : kPending);
    scene.countLog = Count(scenario, {"log"});
    scene.refuseMount = Count(scenario, {"refused"});
    if (Count(scenario, {"modem"})) scene.ports = {"/dev/cu.TOVRIKMobile-Pcui"};
    scene.onSecond = [] {
        if (scene.slept > 1000) scene.faults.clear();  // the wait for a Finder has no end
    };
    Life life;
    scene.onRunLoop = [&] {
        for (int i = 0; i < Count(scenario, {"arrival"}); ++i) Arrive();
        life.calls = scene.calls;
        life.wasMarked = Read(kFile) == kMarked;
        EXPECT_TRUE(life.wasMarked || Read(kFile) == kPending) << Shown(Read(kFile));
        scene.faults.clear();
        Log("/fault", "test", "over");
        Arrive();
    };
    Fail(call, n, isForEver);
    life.log = Happened([] { ZerbinMain(); });
    life.served = life.log.substr(life.log.find("fault:test"));
    life.log.resize(life.log.size() - life.served.size());
    EXPECT_EQ(Shown(Read(kFile)), Shown(kMarked));
    const string held = TakeHeld();  // what a mark that fails leaves is left as is
    EXPECT_TRUE(held.empty() || (call[0] == 'f' && Count(held, {kFile, "block 2054"}) > 1)) << held;
    return life;
}

using FaultTest = DaemonTest;

TEST_F(FaultTest, EveryCallFailsOnceAndForEver) {
    for (const char* volume : {"/Volumes/Pelluria", "/Volumes/Third Party Setup"}) MakeFolder(volume);
    const string served[] = {Live(kScenarios[0]).served, Live(kScenarios[1]).served};
    int injected = 0;
    for (const string& scenario : kScenarios) {
        Life well = Live(scenario);
        for (const auto& [call, messages] : kMessages)
            for (int fault = 0; fault < 2 * well.calls[call]; ++fault, ++injected) {
                SCOPED_TRACE(scenario + "; " + call + " " + std::to_string(fault / 2 + 1));
                const Life life = Live(scenario, call, fault / 2 + 1, fault % 2);
                EXPECT_EQ(life.served, served[life.wasMarked]);
                const bool isTold = Count(life.log, messages) > Count(well.log, messages);
                EXPECT_TRUE(isTold || Count(scenario, {"log"}) || life.log == well.log) << life.log;
            }
    }
    printf("%d faults injected\n", injected);
}

TEST_F(FaultTest, HarmfulContentReachesTheShellAsItIs) {
    for (const string& value : {string("a\"b"), string("a'b"), string("$(id)"), string("`id`"),
                                string("a;id&"), string("a\\"), string("a\nid"), string("a\rb\tc"),
                                string("100%s%n%%%%"), string("\xFF\xC3"), "a" + string(600, '/') + "b"}) {
        MakeFolder("/Volumes/" + value.substr(0, value.find('\n')));
        Prepare(value, SetupFile(value, value + ".dmg"));
        Case(value, {"* system open"}, [](Result) { ZerbinMain(); });
    }
}

}  // namespace

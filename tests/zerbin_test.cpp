#include "src/Zerbin.h"

#include "Common/Log.h"
#include "fakes.h"

using namespace fakes;
using namespace std::string_literals;

int ZerbinMain();  // the daemon's main

namespace {

const char kPort[] = "/dev/cu.TOVRIKMobile-Pcui1";
const Answer kFinder = {"Finder", {0}, "312 ?? 0:00.31 Finder.app\n"};
const std::vector<Answer> kSession = {{"ps aux", {}, "mika\n"}, {"stat", {}, "mika\n"}, kFinder};

class ZerbinTest : public DaemonTest {
protected:
    void SetUp() override {
        DaemonTest::SetUp();
        Configure("disable_cdrom=true\npath1=/Applications/Pelluria.app\n");
        Write("/Applications/Pelluria.app/Contents/Resources/SysConfig.dat",
              "[SD_THIRDPARTY_SETUP]\nSD_THIRD_SETUP=Yes\nSD_THIRD_FILE_PATH=Pelluria\n"
              "SD_THIRD_FILE_NAME=ThirdPartySetup.dmg\nSD_RUN_THIRD_FILE_ONCE=Yes\n");
        gMountArgs[0] = nullptr;
        scene.answers = kSession;
    }
    static void Configure(const string& volumes) {
        Write("/Library/StartupItems/TovrikZerbin/config", "[Volumes]\n" + volumes);
    }
    static void WithoutSetup() { Remove("/Applications/Pelluria.app"); }
    // The whole run of the daemon, until its run loop ends.
    void Start(const string& name, const std::vector<string>& parts = {}) {
        Case(name, parts, [](Result result) {
            CloseLogSystem();
            result << ZerbinMain() << " after " << scene.slept << " s";
            Log("/test", "test", "The log is closed: main --- must not show this.");
        });
    }
    void Mounted(const string& name, const std::vector<string>& parts = {}) {
        Case(name, parts, [](Result) { DiskMountCallback(nullptr, nullptr, nullptr); });
    }
};

TEST_F(ZerbinTest, FindCommPort) {
    const struct {
        const char* name;
        std::vector<const char*> ports;
        const char* wanted = "TOVRIKMobile-Pcui";
        const char* fails = "none";
        int size = 8;
    } kRows[] = {{"none", {}},
                 {"third of four", {nullptr, "/dev/cu.Bluetooth", kPort, "/dev/cu.TOVRIKMobile-Pcui2"}},
                 {"other case", {"/dev/cu.TovrikMobile-Pcui", "/dev/cu.100%s%n"}},
                 {"null", {kPort}, nullptr},
                 {"no query", {kPort}, kPort, "IOServiceGetMatchingServices"},
                 {"no dictionary", {kPort}, kPort, "IOServiceMatching"},
                 {"not converted", {kPort, "/dev/cu.x"}, kPort, "CFStringGetCString"},
                 {"size 0", {kPort}, kPort, "none", 0}};
    for (const auto& row : kRows) {
        scene.ports = row.ports;
        Fail(row.fails, 1);
        Case(row.name, [&](Result result) {
            char output[] = "untouched";
            result << FindCommPort(row.wanted, output, row.size) << " " << output;
        });
    }
    scene.ports = {kPort};
    Case("no output", [](Result result) { result << FindCommPort("cu", nullptr, 8); });
}

TEST_F(ZerbinTest, StartsWithoutModemAndServesTwoArrivals) {
    for (const char* volume : {"Pelluria", "Third Party Setup"}) MakeFolder(string("/Volumes/") + volume);
    scene.onRunLoop = [] {
        Arrive();
        scene.refuseMount = true;
        Fail("DADiskSetOptions", 1);
        Arrive();
    };
    Start("arrivals");
}

TEST_F(ZerbinTest, ServesAModemThatWasThere) {
    scene.onSecond = [] {
        if (scene.slept == 2) scene.ports = {kPort};
        if (scene.slept == 5) MakeFolder("/Volumes/Pelluria");
        if (scene.slept == 10) MakeFolder("/Volumes/Third Party Setup");
    };
    Start("third probe");
}

TEST_F(ZerbinTest, GoesOnWithoutConfiguration) {
    Remove("/Library");
    WithoutSetup();
    scene.onRunLoop = Arrive;
    Start("no configuration", {"main ---", "DiskMount", "system", "fopen"});
}

TEST_F(ZerbinTest, TakesLabelAndMountArgumentFromTheConfiguration) {
    const string kRows[] = {"name=" + string(100, 'l') + "\ndisable_cdrom=TRUE\n",
                            "name=a/b\ndisable_cdrom=True \n",
                            "name= M\xC3\xBC \ndisable_cdrom=yes\n",
                            "name=\xFF%s%n\ndisable_cdrom=1\n",
                            "name=\ndisable_cdrom=\n",
                            ""};
    for (const string& volumes : kRows) {
        Configure(volumes);
        scene.answers = kSession;
        scene.ports = {kPort};
        Start(volumes, {"CFString", "299", " 149 time", "disable_cdrom", "can't", "* DA"});
    }
    Write("/Library/StartupItems/TovrikZerbin/config", string(1 << 20, '\0') + string(1 << 20, '['));
    Start("binary", {"CFStringCreate", "disable_cdrom is"});
    Remove("/Library/StartupItems/TovrikZerbin/config");
    MakeFolder("/Library/StartupItems/TovrikZerbin/config");
    Start("folder", {"CFStringCreate", "disable_cdrom is"});
}

TEST_F(ZerbinTest, LooksAtOwnersAndFinderBeforeTheLaunch) {
    const struct {
        const char* name;
        std::vector<Answer> answers;
        const char* fails = "none";
        int n = 1;
    } kRows[] = {
        {"other owner", {{"ps aux", {}, "root\n"}, {"stat", {}, "mika\n"}}},
        {"no line end", {{"ps aux", {}, "mika"}, {"stat", {}, "mika\n"}}},
        {"long owner", {{"ps aux", {}, string(300, 'o')}, {"stat", {}, string(255, 'o') + "p"}, kFinder}},
        {"nothing printed", {kFinder}},
        {"no first pipe", kSession, "popen"},
        {"no second pipe", kSession, "popen", 2},
        {"no process id", {{"ps aux", {}, "root\n"}, kFinder}, "getpid"}};
    WithoutSetup();
    for (const auto& row : kRows) {
        scene.answers = row.answers;
        Fail(row.fails, row.n);
        Mounted(row.name, {"DiskMountCallback ---", "popen", "pclose", "system"});
    }
    scene.answers = kSession;
    scene.answers[2] = {"Finder", std::vector<int>(20, 256), string(1100, 'F')};
    scene.answers[2].statuses.push_back(0);
    Mounted("late Finder");
    scene.answers = {{"Finder", {}, string(2, '\0')}};
    scene.onSecond = [] {
        if (scene.slept == 5) scene.answers = {{"Finder", {}, ""}};
        if (scene.slept == 10) scene.answers = {kFinder};
    };
    Mounted("Finder prints nothing at first", {"DiskMountCallback ---", "sleep", "system"});
}

TEST_F(ZerbinTest, LaunchesWhatTheConfigurationNames) {
    WithoutSetup();
    for (const string& path :
         {"path1=/Volumes/My App.app/ "s, ""s, "path1="s, "path1=a\"b$(c)%s"s, "path1=" + string(501, 'p'),
          "path1=" + string(502, 'p'), "path1=" + string(600, 'p')}) {
        Configure(path + "\n");
        scene.answers = kSession;
        Mounted(path, {"system open"});
    }
    scene.answers = kSession;
    scene.answers.push_back({"open -a", {256}});
    Mounted("launch fails");
    Case("approval", [](Result result) { result << DiskMountApproval(); });
}

}  // namespace

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

void Configure(const string& volumes) {
    Write("/Library/StartupItems/TovrikZerbin/config", "[Volumes]\n" + volumes);
}

class ZerbinTest : public DaemonTest {
protected:
    void SetUp() override {
        DaemonTest::SetUp();
        Configure("disable_cdrom=true\npath1=/Applications/Pelluria.app\n");
        gMountArgs[0] = nullptr;
        scene.answers = kSession;
    }
    static void WithSetup() {
        Write("/Applications/Pelluria.app/Contents/Resources/SysConfig.dat",
              Lines("[SD_THIRDPARTY_SETUP]|SD_THIRD_SETUP=Yes|SD_THIRD_FILE_PATH=Pelluria|"
                    "SD_THIRD_FILE_NAME=ThirdPartySetup.dmg|SD_RUN_THIRD_FILE_ONCE=Yes|"));
    }
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
    const auto find = [&](std::vector<const char*> ports, const char* name = "TOVRIKMobile-Pcui",
                          int size = 8) {
        scene.ports = ports;
        Case(std::to_string(ports.size()) + " services", [&](Result result) {
            char output[] = "untouched";
            result << FindCommPort(name, output, size) << " " << output;
        });
    };
    find({});
    find({nullptr, "/dev/cu.Bluetooth", kPort, "/dev/cu.TOVRIKMobile-Pcui2"});
    find({"/dev/cu.TovrikMobile-Pcui", "/dev/cu.100%s%n"});
    find({kPort}, nullptr);
    find({kPort}, kPort, 0);
    Fail("CFStringGetCString", 1);
    find({kPort, "/dev/cu.x"}, kPort);
    scene.ports = {kPort};
    Case("no output", [](Result result) { result << FindCommPort("cu", nullptr, 8); });
}

TEST_F(ZerbinTest, StartsWithoutModemAndServesTwoArrivals) {
    WithSetup();
    for (const char* volume : {"/Volumes/Pelluria", "/Volumes/Third Party Setup"}) MakeFolder(volume);
    scene.onRunLoop = [] {
        Arrive();
        scene.refuseMount = true;
        Fail("DADiskSetOptions", 1);
        Arrive();
    };
    Start("arrivals");
}

TEST_F(ZerbinTest, ServesAModemThatWasThere) {
    WithSetup();
    scene.onSecond = [] {
        if (scene.slept == 2) scene.ports = {kPort};
        if (scene.slept == 5) MakeFolder("/Volumes/Pelluria");
        if (scene.slept == 10) MakeFolder("/Volumes/Third Party Setup");
    };
    Start("third probe");
}

TEST_F(ZerbinTest, GoesOnWithoutConfiguration) {
    Remove("/Library");
    scene.onRunLoop = Arrive;
    Start("no configuration", {"main ---", "DiskMount", "system", "fopen"});
}

TEST_F(ZerbinTest, TakesLabelAndMountArgumentFromTheConfiguration) {
    for (const string& volumes :
         {"name=" + string(100, 'l') + "\ndisable_cdrom=TRUE\n", "name=a/b\ndisable_cdrom=True \n"s,
          "name= M\xC3\xBC \ndisable_cdrom=yes\n"s, "name=\xFF%s%n\ndisable_cdrom=1\n"s,
          "name=\ndisable_cdrom=\n"s, ""s}) {
        Configure(volumes);
        scene.answers = kSession;
        scene.ports = {kPort};
        Start(volumes, {"299", " 149 time", "disable_cdrom", "can't", "* DA"});
    }
    Write("/Library/StartupItems/TovrikZerbin/config", string(1 << 20, '\0') + string(1 << 20, '['));
    Start("binary", {"DARegister", "disable_cdrom is"});
    Remove("/Library/StartupItems/TovrikZerbin/config");
    MakeFolder("/Library/StartupItems/TovrikZerbin/config");
    Start("folder", {"DARegister", "disable_cdrom is"});
}

TEST_F(ZerbinTest, LooksAtOwnersAndFinderBeforeTheLaunch) {
    const auto look = [&](const string& name, const std::vector<Answer>& answers) {
        scene.answers = answers;
        Mounted(name, {"DiskMountCallback ---", "popen", "pclose", "system"});
    };
    look("other owner", {{"ps aux", {}, "root\n"}, {"stat", {}, "mika\n"}});
    look("no line end", {{"ps aux", {}, "mika"}, {"stat", {}, "mika\n"}});
    look("long owner", {{"ps aux", {}, string(300, 'o')}, {"stat", {}, string(255, 'o') + "p"}, kFinder});
    look("nothing printed", {kFinder});
    for (int pipe : {1, 2}) Fail("popen", pipe), look("no pipe", kSession);
    Fail("getpid", 1), look("no process id", {{"ps aux", {}, "root\n"}, kFinder});
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
    Case("no setup", [](Result result) { result << DiskMountApproval(); });
    for (const char* volume : {"/Volumes/Pelluria", "/Volumes/Third Party Setup"}) MakeFolder(volume);
    WithSetup();
    Case("setup", {"Approval"}, [](Result result) { result << DiskMountApproval(); });
}

}  // namespace

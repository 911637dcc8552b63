#include "src/Zerbin.h"

#include "Common/Log.h"
#include "fakes.h"

using namespace fakes;

namespace {

const char kPort[] = "/dev/cu.TOVRIKMobile-Pcui1";
const std::vector<Answer> kSession = Session();
const Answer kFinder = kSession[2];

void Configure(const string& volumes) {
    Write(kConfig, "[Volumes]\n" + volumes);
}

class ZerbinTest : public DaemonTest {
protected:
    void SetUp() override {
        DaemonTest::SetUp();
        Configure("disable_cdrom=true\npath1=/Applications/Pelluria.app\n");
        gMountArgs[0] = nullptr;
        scene.answers = kSession;
    }
    // The whole run of the daemon, until its run loop ends.
    void Start(const string& title, const std::vector<string>& parts) {
        Case(title, parts, [](Result result) {
            CloseLogSystem();
            result << ZerbinMain() << " after " << scene.slept << " s";
            Log("/test", "test", "The log is closed: main --- must not show this.");
        });
    }
    void Mounted(const string& title, const std::vector<string>& parts) {
        Case(title, parts, [](Result) { DiskMountCallback(nullptr, nullptr, nullptr); });
    }
};

TEST_F(ZerbinTest, PutsTheProcessInOrder) {
    for (const std::set<int>& closed : {std::set<int>{}, {0}, {1}, {0, 2}, {0, 1, 2}}) {
        scene.closed = closed;
        string title = "closed descriptors:";
        for (const int descriptor : closed) title += " " + std::to_string(descriptor);
        Start(title, {"* open", "* signal", "* DASessionCreate"});
    }
}

TEST_F(ZerbinTest, FindCommPort) {
    const auto find = [&](const string& title, std::vector<const char*> ports,
                          const char* name = "TOVRIKMobile-Pcui", int size = 8,
                          const std::vector<string>& parts = {}) {
        scene.ports = ports;
        Case(title, parts, [&](Result result) {
            char output[40] = "untouched";
            result << FindCommPort(name, output, size) << ", output '" << output << "'";
        });
    };
    find("no service", {});
    find("the third", {nullptr, "/dev/cu.Bluetooth", kPort, "/dev/cu.TOVRIKMobile-Pcui2"});
    find("none of two", {"/dev/cu.TovrikMobile-Pcui", "/dev/cu.100%s%n"});
    find("no name", {kPort}, nullptr, 8, kEverything);
    for (const int size : {0, 1}) find("size " + std::to_string(size), {kPort}, kPort, size, {"success"});
    // Conversions that fail: the first leaves the name, the second leaves the buffer as it was.
    Fail("CFStringGetCString", 1, true);
    find("no conversion", {kPort, ""}, kPort, 40);
    scene.ports = {kPort};
    Case("no output", {"success"}, [](Result result) { result << FindCommPort("cu", nullptr, 8); });
}

TEST_F(ZerbinTest, StartsWithoutModemAndServesArrivals) {
    Write(kSetup, SetupFile());
    MakeVolumes();
    scene.onRunLoop = Arrive;
    Start("everything that happens", kEverything);
    scene.answers = kSession;
    scene.refuseMount = true;
    scene.onRunLoop = [] { Fail("DADiskSetOptions", 1), Arrive(), Arrive(); };
    Start("two refused arrivals after the setup",
          {"DiskPeekCallback ---", "* DADisk", "DiskMount", "RunSDProgram ---"});
}

TEST_F(ZerbinTest, ServesAModemThatWasThere) {
    Write(kSetup, SetupFile());
    scene.onSecond = [] {
        if (scene.slept == 2) scene.ports = {kPort};
        if (scene.slept == 5) MakeFolder("/Volumes/Pelluria");
        if (scene.slept == 10) MakeFolder("/Volumes/Third Party Setup");
    };
    Start("found at the third probe",
          {"main ---", "* IO", "Port ---", "* CF", "* DA", "sleep", "* system", "time"});
}

TEST_F(ZerbinTest, GoesOnWithoutConfiguration) {
    Remove("/Library");
    scene.onRunLoop = Arrive;
    Start("no configuration", {"main ---", "DiskMount", "system", "fopen"});
}

TEST_F(ZerbinTest, TakesLabelAndMountArgumentFromTheConfiguration) {
    for (const string& volumes :
         {"name=" + string(100, 'l') + "\ndisable_cdrom=TRUE\n", string("name=a/b\ndisable_cdrom=True \n"),
          string("name= M\xC3\xBC \ndisable_cdrom=yes\n"), string("name=\xFF%s%n\ndisable_cdrom=1\n"),
          string("name=\ndisable_cdrom=\n"), string()}) {
        Configure(volumes);
        scene.answers = kSession;
        scene.ports = {kPort};
        scene.onRunLoop = [] { DiskPeekCallback(nullptr, nullptr); };
        Start("'" + volumes + "'", {" 149 time", "* DARegister", "* DADiskMount"});
    }
    Write(kConfig, string(1 << 20, '\0') + string(1 << 20, '['));
    Start("binary", {"DARegister", "disable_cdrom is"});
    Remove(kConfig);
    MakeFolder(kConfig);
    Start("folder", {"DARegister", "disable_cdrom is"});
}

TEST_F(ZerbinTest, LooksAtOwnersAndFinderBeforeTheLaunch) {
    const auto look = [&](const string& title, const std::vector<Answer>& answers) {
        scene.answers = answers;
        Mounted(title, {"popen", "fgets", "same", "pname.", "pipe", "system open"});
    };
    look("another owner", {{"ps aux", {}, "root\n"}, {"stat", {}, "mika\n"}});
    look("a line without end", {{"ps aux", {}, "mika"}, {"stat", {}, "mika\n"}});
    const Answer kLong = {"ps aux", {}, string(300, 'o')};
    look("255 characters alike", {kLong, {"stat", {}, string(255, 'o') + "p"}, kFinder});
    look("254 characters alike", {kLong, {"stat", {}, string(254, 'o') + "p"}, kFinder});
    look("no owner printed", {kFinder});
    Fail("fgets", 1), look("an error in the middle of the owner", {kFinder});
    for (const int pipe : {1, 2})
        Fail("popen", pipe), look(pipe == 1 ? "the first pipe fails" : "the second pipe fails", kSession);
    Fail("getpid", 1), look("no process id", {{"ps aux", {}, "root\n"}, kFinder});
    look("a Finder of one character", {kSession[0], kSession[1], {"Finder", {}, "F"}});

    const std::vector<string> kParts = {"DiskMountCallback ---", "recv", "sleep 5", "failed 9"};
    scene.answers = kSession;
    scene.answers[2] = {"Finder", std::vector<int>(20, 256), string(1100, 'F')};
    scene.answers[2].statuses.push_back(0);
    Mounted("a late Finder", kParts);
    scene.answers = {{"Finder", {}, string(2, '\0')}};
    scene.onSecond = [] {
        if (scene.slept == 5) scene.answers = {{"Finder", {}, ""}};
        if (scene.slept == 10) scene.answers = {kFinder};
    };
    Mounted("a Finder that prints nothing at first", kParts);
}

TEST_F(ZerbinTest, LaunchesWhatTheConfigurationNames) {
    for (const string& path :
         {string("path1=/Volumes/My App.app/ "), string(), string("path1="), string("path1=a\"b$(c)%s"),
          "path1=" + string(501, 'p'), "path1=" + string(502, 'p'), "path1=" + string(600, 'p')}) {
        Configure(path + "\n");
        scene.answers = kSession;
        Mounted("'" + path + "'", {"system open"});
    }
    scene.answers = kSession;
    scene.answers.push_back({"open -a", {256}});
    Mounted("the launch fails", {"DiskMount", "system open"});
    Write(kSetup, SetupFile());
    MakeVolumes();
    Case("with a setup", {"Approval"}, [](Result result) { result << DiskMountApproval(); });
    Case("without", {"Approval"}, [](Result result) { result << DiskMountApproval(); });
}

}  // namespace

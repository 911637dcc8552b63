// The daemon in trouble: calls that fail, and content that means harm.
#include <sstream>

#include "Common/Log.h"
#include "fakes.h"

using namespace fakes;

namespace {

const string kPending = SetupFile();
const string kMarked = string(kPending).replace(kPending.find("Yes"), 3, "No", 3);

void Prepare(const string& volume, const string& setup) {
    Remove("/usr/local/DatacardService/Zerbin.log");
    Write(kConfig, "[Volumes]\nname=" + volume + "\npath1=" + volume + "\ndisable_cdrom=no\n");
    Write(kSetup, setup);
    scene = Scene();
    scene.answers = Session();
    scene.onRunLoop = Arrive;
}

// What happens in each is what its name says.
// clang-format off
const char* const kScenarios[] = {
    "start", "arrival, set up before", "arrival", "refused arrival", "arrival, arrival", "start with the modem",
    "start, the log fails too"};
// clang-format on

struct Life {
    string log, served;  // served: what one more arrival brings, when all is well again
    std::map<string, int> calls;
    bool wasMarked;
};

Life Live(const string& scenario, const string& call = "", int n = 0, bool isForEver = false) {
    Prepare("Pelluria", Count(scenario, "set up before") ? kMarked : kPending);
    scene.countLog = Count(scenario, "log");
    scene.refuseMount = Count(scenario, "refused");
    if (Count(scenario, "modem")) scene.ports = {"/dev/cu.TOVRIKMobile-Pcui"};
    scene.onSecond = [] {
        if (scene.slept > 1000) scene.faults.clear();  // the wait for a Finder has no end
    };
    Life life;
    scene.onRunLoop = [&] {
        for (int i = 0; i < Count(scenario, "arrival"); ++i) Arrive();
        life.calls = scene.calls;
        life.wasMarked = Read(kSetup) == kMarked;
        EXPECT_TRUE(life.wasMarked || Read(kSetup) == kPending) << Shown(Read(kSetup));
        scene.faults.clear();
        Log("/fault", "test", "over");
        Arrive();
    };
    Fail(call, n, isForEver);
    life.log = Happened([] { ZerbinMain(); });
    life.served = life.log.substr(life.log.find("fault:test"));
    life.log.resize(life.log.size() - life.served.size());
    EXPECT_EQ(Shown(Read(kSetup)), Shown(kMarked));
    const string held = TakeHeld();  // a failed mark leaves these behind; kept
    EXPECT_TRUE(held.empty() || (call[0] == 'f' && Count(held, kSetup) && Count(held, "block of 2054")))
        << held;
    return life;
}

using FaultTest = DaemonTest;

// What is served afterwards is as if nothing had happened; what is told of it, by call, is the record.
TEST_F(FaultTest, EveryCallFailsOnceAndForEver) {
    MakeVolumes();
    const string served[] = {Live(kScenarios[0]).served, Live(kScenarios[1]).served};
    std::map<string, std::map<string, string>> told;  // by call, of lines that differ in numbers only one
    int faults = 0;
    for (const string scenario : kScenarios) {
        const Life well = Live(scenario);
        for (const auto& [call, calls] : well.calls) {
            // The others do not fail, or their result is ignored.
            if (call.rfind("CF", 0) == 0 || call.rfind("DA", 0) == 0 || call == "getpid") continue;
            for (int fault = 0; fault < 2 * calls; ++fault, ++faults) {
                SCOPED_TRACE(scenario + "; " + call + " " + std::to_string(fault / 2 + 1));
                const Life life = Live(scenario, call, fault / 2 + 1, fault % 2);
                EXPECT_EQ(life.served, served[life.wasMarked]);
                bool isTold = life.log == well.log || scenario.find("log") != string::npos;
                std::istringstream lines(life.log);
                for (string line; std::getline(lines, line);)
                    if (line[0] != '*' && well.log.find(line) == string::npos) {
                        isTold = true;
                        told[call].insert({WithoutNumbers(line), line});
                    }
                EXPECT_TRUE(isTold) << life.log;
            }
        }
    }
    printf("%d faults\n", faults);
    for (const auto& [call, lines] : told)
        Case(call + " fails", [&, &lines = lines](Result result) {
            for (const auto& [kind, line] : lines) result << line << "\n";
        });
}

TEST_F(FaultTest, HarmfulContentReachesTheShellAsItIs) {
    for (const string& value : {string("a\"b"), string("a'b"), string("$(id)"), string("`id`"),
                                string("a;id&"), string("a\\"), string("a\nid"), string("a\rb\tc"),
                                string("100%s%n%%%%"), string("\xC3\xBC"), "a" + string(600, '/') + "b"}) {
        MakeFolder("/Volumes/" + value.substr(0, value.find('\n')));
        Prepare(value, SetupFile(value, value + ".dmg"));
        Case("value '" + value + "'", {"* system open"}, [](Result) { ZerbinMain(); });
    }
}

}  // namespace

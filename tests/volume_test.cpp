#include "fakes.h"
#include "src/ActiveVolumeProgram.h"

using namespace fakes;

namespace {

using VolumeTest = DaemonTest;

const string kFolder = Path("/Volumes/");
const char* const kPrefix = kFolder.c_str();

TEST_F(VolumeTest, IsVolumeExist) {
    const string kPath = kFolder + "Pelluria";
    const struct {
        const char *name, *volume, *prefix;
        int32_t testTime;
        int appears = -1;  // seconds
        const char* fails = "none";
    } kRows[] = {{"null", nullptr, kPrefix, 10},
                 {"no time", "Pelluria", kPrefix, 0, 0},
                 {"less than none", "Pelluria", kPrefix, -1, 0},
                 {"one second", "Pelluria", kPrefix, 1},
                 {"there", "Pelluria", kPrefix, 1, 0},
                 {"third pause", "Pelluria", kPrefix, 300, 5},
                 {"last pause", "Pelluria", kPrefix, 5, 6},
                 {"null prefix", kPath.c_str(), nullptr, 3, 2},
                 {"empty prefix", kPath.c_str(), "", 3, 4},
                 {"nothing", "", "", 2},
                 {"prefix alone", "", kPrefix, 2},
                 {"file", "file", kPrefix, 2},
                 {"no memory", "Pelluria", kPrefix, 2, 0, "malloc"}};
    Write("/Volumes/file", "");
    for (const auto& row : kRows) {
        scene.onSecond = [&] {
            if (scene.slept == row.appears) MakeFolder("/Volumes/Pelluria");
        };
        if (row.appears == 0) MakeFolder("/Volumes/Pelluria");
        Fail(row.fails, 1);
        Case(row.name, [&](Result result) {
            result << IsVolumeExist(row.volume, row.prefix, row.testTime);
            if (!scene.sizes.empty()) result << " malloc " << scene.sizes[0];
        });
        Remove("/Volumes/Pelluria");
    }
    Case("150 tries", {" 149 time", "exit"},
         [](Result result) { result << IsVolumeExist("none", kPrefix, 299) << scene.slept; });
}

TEST_F(VolumeTest, GetTempVolumeName) {
    const struct {
        const char* name;
        std::vector<string> volumes = {};
        int32_t size = 1024;
        int64_t limit = 1000;
        const char* fails = "none";
        const char* prefix = kPrefix;
    } kRows[] = {{"ThirdPartySetup", {"Third Party Setup", "Third Party Setup 1"}},
                 {"Setup", {"Setup", "Setup 2"}},
                 {"ABC", {"A B C"}},
                 {"Setup2Go", {"Setup2 Go"}},
                 {"My App", {"My App"}},
                 {"Driver.Setup", {"Driver. Setup"}},
                 {"\xC3\x84\x41", {"\xC3\x84 A"}},
                 {"a", {"a", "a 1", "a 2", "a 3", "a 4", "a 5", "a 6", "a 7", "a 8", "a 9", "a 10"}},
                 {"none"},
                 {"Setup", {"Setup"}, 1024, 24},
                 {"Setup", {"Setup"}, 1024, 23},
                 {"Setup", {"Setup", "Setup 1"}, 1024, -1},
                 {"Setup", {"Setup"}, 20},
                 {"Setup", {"Setup"}, 0},
                 {""},
                 {"", {}, 0},
                 {"Setup", {"Setup"}, 1024, 1000, "malloc"},
                 {".", {}, 1024, 1000, "none", nullptr},
                 {".", {}, 1024, 1000, "none", ""}};
    for (const auto& row : kRows) {
        for (const string& volume : row.volumes) MakeFolder("/Volumes/" + volume);
        Fail(row.fails, 1);
        Case(row.name, [&](Result result) {
            char name[1024] = {};
            string(row.name).copy(name, sizeof name);
            int64_t limit = row.limit;
            result << GetTempVolumeName(name, row.size, &limit, row.prefix, 2) << " '" << name << "' limit "
                   << limit;
            if (!scene.sizes.empty()) result << " malloc " << scene.sizes[0];
        });
        Remove("/Volumes"), MakeFolder("/Volumes");
    }
    Case("null", [](Result result) {
        char name[] = "Setup";
        int64_t limit = 1000;
        result << GetTempVolumeName(name, 6, nullptr, kPrefix, 2)
               << GetTempVolumeName(nullptr, 0, &limit, kPrefix, 2);
    });
}

}  // namespace

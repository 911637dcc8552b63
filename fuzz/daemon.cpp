// The daemon's whole life, with any configuration, setup file, port and answers of the shell; in the target
// "faults" up to three kinds of calls fail, each once or for ever.
#include "fuzz.h"

void Try(Input* input) {
    static const char* const kCalls[] = {// clang-format off
        "malloc", "fopen", "fclose", "fgets", "fread", "fseek", "ftell", "fputs", "fputc", "opendir", "popen",
        "system", "CFStringGetCString", "DADiskSetOptions", "IOServiceGetMatchingServices"};
    // clang-format on
    std::map<string, std::pair<int, bool>> faults;
    for (int i = 0; i < FAULTS; ++i) {
        const string call = kCalls[input->Below(std::size(kCalls))];
        const auto n = static_cast<int>(input->Below(256));  // the call (0: none) and, lowest bit, for ever
        if (n > 1) faults[call] = {n / 2, n % 2 != 0};
    }
    const size_t choices = input->Below(256);
    std::vector<int> statuses;
    for (size_t i = input->Below(16); i > 0; --i)
        statuses.push_back(static_cast<int>(input->Below(4) * 128) - 128);
    statuses.push_back(0);
    const string configuration = input->Text(), port = input->Text().c_str();
    const string owner = input->Text(), finder = input->Text();
    Prepare(input->left);
    Write(kConfig, configuration);
    scene.faults = faults;
    if (choices & 1) scene.ports = {nullptr, port.c_str(), "/dev/cu.TOVRIKMobile-Pcui"};
    scene.refuseMount = choices & 2;
    scene.answers = {{"Finder", statuses, finder},
                     {"ps aux", {}, owner},
                     {"stat", {}, choices & 4 ? finder : owner},
                     {"open", statuses}};
    scene.onSecond = [] {  // otherwise the wait might not end
        if (scene.slept >= 40) scene.answers[0].output = "Finder";
        if (scene.slept >= 400) scene.faults.clear();
    };
    scene.onRunLoop = [] { Arrive(), Arrive(); };
    KeepsSetup([] { ZerbinMain(); });
}

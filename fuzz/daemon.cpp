// The daemon's whole life, with any configuration, setup file, port and answers of the shell.
#include "fuzz.h"

int ZerbinMain();  // the daemon's main

void Try(Input* input) {
    const size_t choices = input->Below(256);
    std::vector<int> statuses;
    for (size_t i = input->Below(16); i > 0; --i)
        statuses.push_back(static_cast<int>(input->Below(4) * 128) - 128);
    statuses.push_back(0);
    const string configuration = input->Text(), port = input->Text().c_str();
    const string owner = input->Text(), finder = input->Text();
    Prepare(input->left);
    Write("/Library/StartupItems/TovrikZerbin/config", configuration);
    if (choices & 1) scene.ports = {nullptr, port.c_str(), "/dev/cu.TOVRIKMobile-Pcui"};
    scene.refuseMount = choices & 2;
    scene.answers = {{"Finder", statuses, finder},
                     {"ps aux", {}, owner},
                     {"stat", {}, choices & 4 ? finder : owner},
                     {"open", statuses}};
    scene.onSecond = [] {
        if (scene.slept == 40) scene.answers[0].output = "Finder";  // or the wait would not end
    };
    scene.onRunLoop = [] { Arrive(), Arrive(); };
    KeepsSetup([] { ZerbinMain(); });
}

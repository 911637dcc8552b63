// Runs only the one-time setup, as the daemon does.
#include "Common/Log.h"
#include "Common/Paths.h"
#include "src/ActiveVolumeProgram.h"

int main() {
    InitLogSystem(kLogFile);
    return RunSDProgram(kSetupFile, "open \"", kVolumesRoot) ? 0 : 1;
}

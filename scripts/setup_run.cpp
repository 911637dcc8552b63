// The one-time setup alone, as the daemon runs it.
#include "Common/Log.h"
#include "Common/Paths.h"
#include "src/ActiveVolumeProgram.h"

int main() {
    InitLogSystem(kLogFile);
    return RunSDProgram(kSetupFile, "open \"", kVolumesRoot) ? 0 : 1;
}

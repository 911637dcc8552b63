// Tries one input; without libFuzzer, each file of the given folder.
#include <filesystem>

#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input = {{reinterpret_cast<const char*>(data), size}};
    Try(&input);
    return 0;
}

#ifdef REPLAY
int main(int, char** arguments) {
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        const string text = Content(entry.path().string());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    }
}
#endif

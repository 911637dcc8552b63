// Tries one input; without libFuzzer, each file of the folder that is named.
#include "fuzz.h"

#include <filesystem>
#include <fstream>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input = {{reinterpret_cast<const char*>(data), size}};
    Try(&input);
    return 0;
}

#ifdef REPLAY
int main(int, char** arguments) {
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const string data(std::istreambuf_iterator<char>(file), {});
        Input input = {data};
        Try(&input);
    }
}
#endif

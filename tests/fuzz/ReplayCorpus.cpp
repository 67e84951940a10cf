// Hands every file of the folders on the command line to the fuzz target once.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    int replayed = 0;
    for (int index = 1; index < argc; ++index) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[index])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string input(std::istreambuf_iterator<char>(file), {});
            printf("%s\n", entry.path().c_str());
            fflush(stdout);  // names the culprit when the target crashes
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
            ++replayed;
        }
    }
    // A corpus that is not found must not pass.
    return replayed > 0 ? 0 : 1;
}

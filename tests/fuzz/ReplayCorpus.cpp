// Runs a fuzz target over every file of a corpus folder: the file, each of its truncations, and random
// mutations of it. Usage: <target> <folder> [seed]; the seed of the mutations is printed.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "FileUtil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

constexpr int kMutationsPerFile = 2000;
constexpr int kChangesPerMutation = 3;

// The copy ends where the text ends, so that a sanitizer sees a read behind it.
void Run(const std::string& input) {
    const std::vector<uint8_t> bytes(input.begin(), input.end());
    (void)LLVMFuzzerTestOneInput(bytes.data(), bytes.size());  // the value is reserved and always 0
}

// Leaves out, repeats or exchanges a few bytes, half of the time for one that a parser looks at.
std::string Mutate(std::string text, std::mt19937& random) {
    const auto below = [&random](size_t limit) { return random() % limit; };
    for (int change = 0; change < kChangesPerMutation; ++change) {
        const char byte = below(2) == 0 ? "<>&;/'\"= "[below(9)] : static_cast<char>(below(256));
        text.replace(below(text.size() + 1), below(8), below(3), byte);
        text.insert(below(text.size() + 1), text, below(text.size() + 1), below(16));
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned seed =
        argc > 2 ? static_cast<unsigned>(strtoul(argv[2], nullptr, 10)) : std::random_device()();
    std::mt19937 random(seed);
    std::map<std::string, std::string> inputs;  // by path, so that a seed means the same on every machine
    for (const auto& entry : std::filesystem::directory_iterator(argc > 1 ? argv[1] : ".")) {
        if (!CFileUtil::ReadWholeFile(entry.path().c_str(), inputs[entry.path()])) {
            fprintf(stderr, "%s cannot be read\n", entry.path().c_str());
            return EXIT_FAILURE;
        }
    }
    printf("seed %u\n", seed);
    for (const auto& [path, input] : inputs) {
        printf("%s\n", path.c_str());
        fflush(stdout);  // names the culprit when the target ends the process
        for (size_t length = 0; length <= input.size(); ++length) {
            Run(input.substr(0, length));
        }
        for (int count = 0; count < kMutationsPerFile; ++count) {
            Run(Mutate(input, random));
        }
    }
    return inputs.empty() ? EXIT_FAILURE : EXIT_SUCCESS;
}

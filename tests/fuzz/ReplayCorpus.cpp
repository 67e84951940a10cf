// Runs a fuzz target over every file of a corpus folder: the file and each of its truncations.
// Usage: <target> <folder>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "Fuzz.h"

int main(int argc, char** argv) {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argc > 1 ? argv[1] : ".")) {
        printf("%s\n", entry.path().c_str());
        fflush(stdout);  // names the culprit when the target ends the process
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> input(std::istreambuf_iterator<char>(file), {});
        for (size_t length = 0; length <= input.size(); ++length) {
            const std::unique_ptr<char[]> exact(new char[length]);  // not null for a length of 0, as a vector
            std::copy_n(input.data(), length, exact.get());
            Try({exact.get(), length});
        }
        ++count;
    }
    return count > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

#include "Fuzz.h"

#include <algorithm>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Try({reinterpret_cast<const char*>(data), size});
    return 0;
}

std::string Take(std::string_view& input, char separator) {
    const std::string_view taken = input.substr(0, input.find(separator));
    input.remove_prefix(std::min(taken.size() + 1, input.size()));
    return std::string(taken.substr(0, taken.find('\0')));
}

#pragma once

#include <cstdlib>
#include <string>
#include <string_view>

// What a target does with one input. The bytes end where their memory ends, so that a sanitizer sees a read
// behind them.
void Try(std::string_view input);

// Ends the process unless `condition` holds.
inline void Require(bool condition) {
    if (!condition) {
        abort();
    }
}

// Cuts what stands in front of the first `separator`, or all that is left, off the input, and returns it up
// to its first NUL.
std::string Take(std::string_view& input, char separator = '\n');

#pragma once

#include <string>

namespace portal_sim {

// Whether the whole text matches the POSIX extended regular expression, which has to be a valid one.
bool Matches(const std::string& text, const std::string& pattern);

}  // namespace portal_sim

#include "Pattern.h"

#include <regex.h>

namespace portal_sim {

bool Matches(const std::string& text, const std::string& pattern) {
    regex_t expression;
    if (regcomp(&expression, ("^(" + pattern + ")$").c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
        return false;
    }
    const bool matches = regexec(&expression, text.c_str(), 0, nullptr, 0) == 0;
    regfree(&expression);
    return matches;
}

}  // namespace portal_sim

#pragma once

#include <string_view>

// A setting that configuration files may set. Whatever else the settings hold is the service's own memory.
struct ConfigKey {
    const char* name;  // as in the settings
    bool (*isValid)(std::string_view value);
    const char* rule;  // what a valid value is, in words that follow "has to be"
};

inline constexpr int kConfigKeyCount = 7;
extern const ConfigKey kConfigKeys[kConfigKeyCount];

// Null when there is no such key. Names have capital and small letters.
const ConfigKey* FindConfigKey(std::string_view name);

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// What is asked of plain texts everywhere.

inline const char* OrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

inline bool IsNullOrEmpty(const char* text) {
    return *OrEmpty(text) == '\0';
}

inline bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

inline bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Two lower-case hexadecimal digits for each of `length` bytes.
inline std::string ToHex(const unsigned char* bytes, size_t length) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string digits(2 * length, '\0');
    for (size_t i = 0; i < length; ++i) {
        digits[2 * i] = kDigits[bytes[i] >> 4];
        digits[2 * i + 1] = kDigits[bytes[i] & 0x0F];
    }
    return digits;
}

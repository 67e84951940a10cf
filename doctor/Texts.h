#pragma once

#include <cstddef>
#include <string>

// At most `length` bytes of the text, and what shows that there was more. No character of UTF-8 is cut.
inline std::string Shortened(const std::string& text, size_t length) {
    if (text.size() <= length) {
        return text;
    }
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
        --length;
    }
    return text.substr(0, length) + "...";
}

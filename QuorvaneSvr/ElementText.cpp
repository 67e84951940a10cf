#include "ElementText.h"

#include <string>

#include "TextUtil.h"

namespace {

// Bytes below the blank are no part of a character in GB18030 or UTF-8, so looking at single ones is enough.
bool HasNoForm(char byte) {
    const auto code = static_cast<unsigned char>(byte);
    return code < ' ' && byte != '\t' && byte != '\n' && byte != '\r';
}

}  // namespace

CAutoString ElementText(const CAutoString& text) {
    std::string result;
    for (const char byte : text.GetText()) {
        if (byte == '<') {
            result += "&lt;";
        } else if (byte == '&') {
            result += "&amp;";
        } else if (byte == '>' && EndsWith(result, "]]")) {
            result += "&gt;";
        } else {
            result += HasNoForm(byte) ? ' ' : byte;
        }
    }
    return result;
}

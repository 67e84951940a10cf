#include "ReadableText.h"

#include <algorithm>
#include <optional>

#include "ConsoleText.h"
#include "MarkupText.h"
#include "TextConverter.h"

namespace {

constexpr char kUtf8[] = "UTF-8";
constexpr char kPortalEncoding[] = "GB18030";
constexpr char kMarks[] = "<>";  // never a part of a longer character, in either encoding
constexpr char kLeftOut = '?';

// The text in UTF-8, or none when it is not wholly in the portal's encoding.
std::optional<std::string> FromPortalEncoding(const std::string& text) {
    TextConverter converter(kPortalEncoding, kUtf8);
    std::string_view rest = text;
    std::string converted;
    return converter.Convert(rest, converted) ? std::optional<std::string>(converted) : std::nullopt;
}

std::string WithoutForeignBytes(std::string text) {
    for (char& character : text) {
        if (static_cast<unsigned char>(character) >= 0x80) {
            character = kLeftOut;
        }
    }
    return text;
}

}  // namespace

std::string InUtf8(const std::string& text) {
    return IsUtf8(text) ? text : FromPortalEncoding(text).value_or(WithoutForeignBytes(text));
}

std::string ReadableText(const std::string& text) {
    std::string readable;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find_first_of(kMarks, start), text.size());
        readable += ConsoleText(InUtf8(text.substr(start, end - start)).c_str()).GetText();
        readable += text.substr(end, 1);
        start = end + 1;
    }
    return readable;
}

#include "MarkupText.h"

#include <algorithm>
#include <array>

#include "Markup.h"
#include "MarkupSyntax.h"
#include "TextUtil.h"

using namespace MarkupSyntax;

namespace {

struct Reference {
    char character;
    std::string_view text;
};
constexpr Reference kReferences[] = {
    {'<', "&lt;"}, {'&', "&amp;"}, {'>', "&gt;"}, {'\'', "&apos;"}, {'"', "&quot;"},
};

constexpr uint32_t kLastCodePoint = 0x10FFFF;
constexpr uint8_t kLastLead = 0xF4;  // of the bytes of its UTF-8 form

bool IsSurrogate(uint32_t codePoint) {
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

int DigitValue(char digit, int radix) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    const char lower = static_cast<char>(digit | 0x20);
    return radix == 16 && lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

void AppendUtf8(std::string& result, uint32_t codePoint) {
    const auto put = [&result](uint32_t byte) { result += static_cast<char>(byte); };
    if (codePoint < 0x80) {
        put(codePoint);
        return;
    }
    if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
    } else if (codePoint < 0x10000) {
        put(0xE0 | codePoint >> 12);
        put(0x80 | (codePoint >> 6 & 0x3F));
    } else {
        put(0xF0 | codePoint >> 18);
        put(0x80 | (codePoint >> 12 & 0x3F));
        put(0x80 | (codePoint >> 6 & 0x3F));
    }
    put(0x80 | (codePoint & 0x3F));
}

// The following append what the reference at the start of `text` stands for and return its length; 0 when
// there is none.
size_t AppendNumericReference(std::string& result, std::string_view text) {
    const int radix = StartsWith(text, "&#x") ? 16 : 10;
    const size_t first = radix == 16 ? 3 : 2;
    uint32_t codePoint = 0;
    size_t position = first;
    for (; position < text.size(); ++position) {
        const int digit = DigitValue(text[position], radix);
        if (digit < 0) {
            break;
        }
        // Stays above the last code point once it is, whatever digits follow.
        codePoint = codePoint > kLastCodePoint
                        ? codePoint
                        : codePoint * static_cast<uint32_t>(radix) + static_cast<uint32_t>(digit);
    }
    const bool ends = position > first && position < text.size() && text[position] == ';';
    // A NUL would cut the text short for everyone who takes it as a C string.
    if (!ends || codePoint == 0 || codePoint > kLastCodePoint || IsSurrogate(codePoint)) {
        return 0;
    }
    AppendUtf8(result, codePoint);
    return position + 1;
}

size_t AppendReference(std::string& result, std::string_view text) {
    if (StartsWith(text, "&#")) {
        return AppendNumericReference(result, text);
    }
    for (const Reference& reference : kReferences) {
        if (StartsWith(text, reference.text)) {
            result += reference.character;
            return reference.text.size();
        }
    }
    return 0;
}

// By byte: the number of its reference in kReferences, or kUnescaped.
constexpr uint8_t kUnescaped = 0xFF;
constexpr std::array<uint8_t, 256> MakeReferenceNumbers() {
    std::array<uint8_t, 256> numbers{};
    for (uint8_t& number : numbers) {
        number = kUnescaped;
    }
    for (size_t number = 0; number < std::size(kReferences); ++number) {
        numbers[static_cast<uint8_t>(kReferences[number].character)] = static_cast<uint8_t>(number);
    }
    return numbers;
}
constexpr std::array<uint8_t, 256> kReferenceNumbers = MakeReferenceNumbers();

bool StartsReference(std::string_view text) {
    if (text.size() < 2 || text[0] != '&') {
        return false;
    }
    const char next = text[1];
    return (next >= 'a' && next <= 'z') || (next >= 'A' && next <= 'Z') || next == '#' || next == '_' ||
           next == ':';
}

// Length of the comment, CDATA section or instruction at the start of `content`, which the parser has seen to
// end; the literal text of a CDATA section is appended.
size_t AppendMarkup(std::string& result, std::string_view content) {
    if (StartsWith(content, kCDataStart)) {
        const size_t end = content.find(kCDataEnd, kCDataStart.size());
        result += content.substr(kCDataStart.size(), end - kCDataStart.size());
        return end + kCDataEnd.size();
    }
    if (StartsWith(content, kCommentStart)) {
        return content.find(kCommentEnd, kCommentStart.size()) + kCommentEnd.size();
    }
    return content.find(kInstructionEnd) + kInstructionEnd.size();
}

}  // namespace

void AppendEscaped(std::string& result, std::string_view text, int flags) {
    const auto isKept = [flags](std::string_view rest) {
        const bool quote = rest[0] == '\'' || rest[0] == '"';
        return quote ? (flags & CMarkup::MNF_ESCAPEQUOTES) == 0
                     : (flags & CMarkup::MNF_WITHREFS) != 0 && StartsReference(rest);
    };
    size_t copied = 0;
    for (size_t position = 0; position < text.size(); ++position) {
        const uint8_t number = kReferenceNumbers[static_cast<uint8_t>(text[position])];
        if (number == kUnescaped || isKept(text.substr(position))) {
            continue;
        }
        result.append(text, copied, position - copied).append(kReferences[number].text);
        copied = position + 1;
    }
    result.append(text, copied);
}

void AppendUnescaped(std::string& result, std::string_view text) {
    size_t copied = 0;
    size_t found = text.find('&');
    while (found != std::string_view::npos) {
        result += text.substr(copied, found - copied);
        copied = found;
        copied += AppendReference(result, text.substr(found));
        found = text.find('&', std::max(copied, found + 1));
    }
    result += text.substr(copied);
}

void AppendContent(std::string& result, std::string_view content) {
    for (size_t markup = content.find('<'); markup != std::string_view::npos; markup = content.find('<')) {
        AppendUnescaped(result, content.substr(0, markup));
        content.remove_prefix(markup);
        content.remove_prefix(AppendMarkup(result, content));
    }
    AppendUnescaped(result, content);
}

void AppendCData(std::string& result, std::string_view text) {
    result += kCDataStart;
    for (size_t end = text.find(kCDataEnd); end != std::string_view::npos; end = text.find(kCDataEnd)) {
        const std::string_view brackets = kCDataEnd.substr(0, 2);
        result += text.substr(0, end);
        result += brackets;
        result += kCDataEnd;
        result += kCDataStart;
        text.remove_prefix(end + brackets.size());
    }
    result += text;
    result += kCDataEnd;
}

size_t ReadUtf8(std::string_view text, uint32_t& codePoint) {
    const auto lead = static_cast<uint8_t>(text.empty() ? 0 : text[0]);
    const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : lead < 0x80 ? 1 : 0;
    if (length == 0 || lead > kLastLead || length > text.size()) {
        return 0;
    }
    codePoint = length == 1 ? lead : lead & (0x7Fu >> length);
    for (size_t index = 1; index < length; ++index) {
        const auto byte = static_cast<uint8_t>(text[index]);
        if ((byte & 0xC0) != 0x80) {
            return 0;
        }
        codePoint = codePoint << 6 | (byte & 0x3F);
    }
    constexpr uint32_t kFirstOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool valid =
        codePoint >= kFirstOfLength[length] && codePoint <= kLastCodePoint && !IsSurrogate(codePoint);
    return valid ? length : 0;
}

bool IsUtf8(std::string_view text) {
    uint32_t codePoint = 0;
    size_t length = 1;
    for (; !text.empty() && length > 0; text.remove_prefix(length)) {
        length = ReadUtf8(text, codePoint);
    }
    return length > 0;
}

CAutoString CMarkup::EscapeText(const char* text, int flags) {
    std::string result;
    AppendEscaped(result, OrEmpty(text), flags);
    return result;
}

CAutoString CMarkup::UnescapeText(const char* text) {
    std::string result;
    AppendUnescaped(result, OrEmpty(text));
    return result;
}

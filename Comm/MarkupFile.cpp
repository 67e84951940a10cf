// The document in a file. In memory it is UTF-8; a file may have any encoding that iconv knows.
#include <algorithm>

#include "Markup.h"
#include "MarkupSyntax.h"
#include "MarkupText.h"
#include "TextConverter.h"
#include "TextUtil.h"

using namespace MarkupSyntax;

namespace {

constexpr char kUtf8[] = "UTF-8";
constexpr std::string_view kWideEncodings = "UTF-16";  // what the names of both begin with

struct ByteOrderMark {
    std::string_view bytes;
    int flag;
    const char* encoding;
};
constexpr ByteOrderMark kByteOrderMarks[] = {
    {"\xEF\xBB\xBF", CMarkup::MDF_UTF8PREAMBLE, kUtf8},
    {"\xFF\xFE", CMarkup::MDF_UTF16LEFILE, "UTF-16LE"},
    {"\xFE\xFF", CMarkup::MDF_UTF16BEFILE, "UTF-16BE"},
};
constexpr int kByteOrderFlags =
    CMarkup::MDF_UTF8PREAMBLE | CMarkup::MDF_UTF16LEFILE | CMarkup::MDF_UTF16BEFILE;

constexpr std::string_view kEncodingName = "encoding";
constexpr char kUnreadable[] = "cannot be read";  // for the result log

// Empty when the text does not declare one. A "//" would be an order to iconv, so only plain names are taken.
std::string DeclaredEncoding(const std::string& text) {
    if (StartsWith(text, kDeclarationStart)) {
        AttribScanner scanner(text.c_str() + kDeclarationStart.size());
        while (scanner.Next()) {
            if (scanner.Name() == kEncodingName && IsMarkupName(scanner.RawValue())) {
                return std::string(scanner.RawValue());
            }
        }
    }
    return {};
}

const ByteOrderMark* FindMark(std::string_view bytes) {
    for (const ByteOrderMark& mark : kByteOrderMarks) {
        if (StartsWith(bytes, mark.bytes)) {
            return &mark;
        }
    }
    return nullptr;
}

const ByteOrderMark* FindMark(int flags) {
    for (const ByteOrderMark& mark : kByteOrderMarks) {
        if ((flags & mark.flag) != 0) {
            return &mark;
        }
    }
    return nullptr;
}

// False when the encoding is unknown or the bytes are not in it.
bool ToUtf8(std::string_view bytes, const std::string& encoding, std::string& text) {
    TextConverter converter(encoding, kUtf8);
    return converter.IsOpen() && converter.Convert(bytes, text);
}

// What the encoding has no character for becomes a numeric reference. Bytes that are not UTF-8 are taken for
// ones of that encoding: a portal's texts come in its own one, and must not spoil those of the user beside
// them. False when the encoding is unknown, or one of two bytes a character, which has no place for others.
bool FromUtf8(std::string_view text, const std::string& encoding, std::string& bytes) {
    TextConverter converter(kUtf8, encoding);
    if (!converter.IsOpen()) {
        return false;
    }
    while (!converter.Convert(text, bytes)) {
        uint32_t codePoint = 0;
        const size_t length = ReadUtf8(text, codePoint);
        if (length == 0 && StartsWith(encoding, kWideEncodings)) {
            return false;
        }
        converter.Finish(bytes);  // what follows is written in the unshifted state
        bytes += length == 0 ? std::string(1, text.front()) : "&#" + std::to_string(codePoint) + ";";
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    converter.Finish(bytes);
    return true;
}

// A declaration that can be read byte by byte cannot be in an encoding that writes it differently, such as
// UTF-16; what it claims is not believed then.
bool IsBelievable(std::string_view converted) {
    return StartsWith(converted, kDeclarationStart);
}

// Nor is `text` saved in an encoding that lacks characters of an element's name, which can be no references.
bool IsSound(const std::string& converted, const std::string& text) {
    return IsBelievable(converted) && (converted == text || CMarkup().SetDoc(converted.c_str()));
}

}  // namespace

bool CMarkup::Load(const char* file) {
    if (IsStreamed()) {
        return false;
    }
    std::string bytes;
    m_nDocFlags &= ~kByteOrderFlags;
    const bool read = file != nullptr && CFileUtil::ReadWholeFile(file, bytes);
    const ByteOrderMark* const mark = FindMark(bytes);
    std::string text;
    if (mark != nullptr) {
        m_nDocFlags |= mark->flag;
        bytes.erase(0, mark->bytes.size());
    }
    const std::string encoding = mark != nullptr ? mark->encoding : DeclaredEncoding(bytes);
    const bool converted =
        !encoding.empty() && ToUtf8(bytes, encoding, text) && (mark != nullptr || IsBelievable(text));
    // What is no UTF-16 behind its mark might be once it was saved again, and then be read as something else.
    if (!converted && mark != nullptr && StartsWith(encoding, kWideEncodings)) {
        bytes.clear();
    }
    m_strDoc = std::move(converted ? text : bytes);
    const bool parsed = ParseDoc();
    if (!read) {
        m_strResult = kUnreadable;
    }
    return parsed && read;
}

bool CMarkup::Save(const char* file, WriteTo target) const {
    if (file == nullptr) {
        return false;
    }
    const std::string text = GetDoc().GetText();
    const ByteOrderMark* const mark = FindMark(m_nDocFlags);
    const std::string encoding = mark != nullptr ? mark->encoding : DeclaredEncoding(text);
    std::string bytes;
    const bool isConverted = !encoding.empty() && FromUtf8(text, encoding, bytes);
    if (!isConverted || (mark == nullptr && !IsSound(bytes, text))) {
        return CFileUtil::ReplaceFile(file, text, target);
    }
    return CFileUtil::ReplaceFile(file, (mark != nullptr ? std::string(mark->bytes) : std::string()) + bytes,
                                  target);
}

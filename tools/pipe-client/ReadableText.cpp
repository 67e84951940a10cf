#include "ReadableText.h"

#include <iconv.h>

#include <optional>

namespace {

constexpr char kUtf8[] = "UTF-8";
constexpr char kPortalEncoding[] = "GB18030";
constexpr char kMarks[] = "<>";  // never a part of a longer character, in either encoding
constexpr char kLeftOut = '?';
constexpr size_t kMostGrowth = 2;  // from two bytes of GB18030 to three of UTF-8

class Converter {
  public:
    explicit Converter(const char* from) : m_handle(iconv_open(kUtf8, from)) {}
    ~Converter() {
        if (IsOpen()) {
            (void)iconv_close(m_handle);  // it cannot fail for an open one
        }
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    bool IsOpen() const { return m_handle != reinterpret_cast<iconv_t>(-1); }
    iconv_t Handle() const { return m_handle; }

  private:
    iconv_t m_handle;
};

// The text in UTF-8, or none when it is not wholly in the encoding `from`.
std::optional<std::string> Converted(const std::string& text, const char* from) {
    const Converter converter(from);
    std::string input = text;
    std::string output(text.size() * kMostGrowth, '\0');
    char* next = input.data();
    char* free = output.data();
    size_t left = input.size();
    size_t room = output.size();
    if (!converter.IsOpen() ||
        iconv(converter.Handle(), &next, &left, &free, &room) == static_cast<size_t>(-1)) {
        return std::nullopt;
    }
    output.resize(output.size() - room);
    return output;
}

std::string WithoutForeignBytes(std::string text) {
    for (char& character : text) {
        if (static_cast<unsigned char>(character) >= 0x80) {
            character = kLeftOut;
        }
    }
    return text;
}

std::string InUtf8(const std::string& text) {
    for (const char* encoding : {kUtf8, kPortalEncoding}) {
        if (const std::optional<std::string> converted = Converted(text, encoding)) {
            return *converted;
        }
    }
    return WithoutForeignBytes(text);
}

// Both ranges of control characters; those of the second one are C2 80 to C2 9F in UTF-8.
std::string WithoutControls(const std::string& text) {
    std::string clean;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
        if (byte == 0xC2 && next < 0xA0) {
            clean += kLeftOut;
            ++i;
        } else {
            clean += byte < ' ' || byte == 0x7F ? kLeftOut : text[i];
        }
    }
    return clean;
}

}  // namespace

std::string ReadableText(const std::string& text) {
    std::string readable;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find_first_of(kMarks, start), text.size());
        readable += WithoutControls(InUtf8(text.substr(start, end - start)));
        readable += text.substr(end, 1);
        start = end + 1;
    }
    return readable;
}

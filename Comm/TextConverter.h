#pragma once

#include <iconv.h>

#include <cerrno>
#include <string>
#include <string_view>

// A conversion of iconv's between two encodings, which are named as iconv names them. Belongs to one thread
// at a time.
class TextConverter {
  public:
    TextConverter(const std::string& from, const std::string& to)
        : m_handle(iconv_open(to.c_str(), from.c_str())) {}
    ~TextConverter() {
        if (IsOpen()) {
            iconv_close(m_handle);
        }
    }
    TextConverter(const TextConverter&) = delete;
    TextConverter& operator=(const TextConverter&) = delete;

    // Whether the encodings are known. When they are not, nothing converts.
    // NOLINTNEXTLINE(performance-no-int-to-ptr): iconv_open reports a failure that way
    bool IsOpen() const { return m_handle != reinterpret_cast<iconv_t>(-1); }

    // Moves from `text` to `result` what can be converted. False with `text` at the bytes that cannot.
    bool Convert(std::string_view& text, std::string& result) {
        char* in = const_cast<char*>(text.data());  // iconv's old signature; it does not write there
        size_t inLeft = text.size();
        const bool done = Step(&in, &inLeft, result);
        text.remove_prefix(text.size() - inLeft);
        return done;
    }

    // Appends what ends the conversion, for encodings that shift.
    void Finish(std::string& result) { (void)Step(nullptr, nullptr, result); }

  private:
    bool Step(char** in, size_t* inLeft, std::string& result) {
        char block[kBlockSize];
        size_t converted = 0;
        do {
            char* out = block;
            size_t outLeft = sizeof block;
            converted = iconv(m_handle, in, inLeft, &out, &outLeft);
            result.append(block, sizeof block - outLeft);
        } while (converted == static_cast<size_t>(-1) && errno == E2BIG);
        return converted != static_cast<size_t>(-1);
    }

    static constexpr size_t kBlockSize = 4096;

    const iconv_t m_handle;
};

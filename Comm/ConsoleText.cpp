#include "ConsoleText.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace {

constexpr char kReplacement = '?';
constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kDelete = 0x7f;
// Longer ones, by the bytes with which they begin and the range of the one that follows.
struct LongControls {
    std::string_view begin;
    unsigned char first;
    unsigned char last;
};
constexpr LongControls kLongControls[] = {
    {"\xc2", 0x80, 0x9f},      // the second set of control characters, of which some open a sequence
    {"\xe2\x80", 0xa8, 0xae},  // line and paragraph breaks, embedded and forced directions
    {"\xe2\x81", 0xa6, 0xa9},  // isolated directions
};

// In bytes; 0 when `text`, which is not empty, begins with no control character.
size_t ControlLength(std::string_view text) {
    for (const LongControls& row : kLongControls) {
        const size_t length = row.begin.size();
        const auto next = static_cast<unsigned char>(text.size() > length ? text[length] : '\0');
        if (text.substr(0, length) == row.begin && next >= row.first && next <= row.last) {
            return length + 1;
        }
    }
    const auto byte = static_cast<unsigned char>(text.front());
    return byte < kFirstPrintable || byte == kDelete ? 1 : 0;
}

}  // namespace

CAutoString ConsoleText(const char* text) {
    std::string printable;
    for (std::string_view rest = text; !rest.empty();) {
        const size_t control = ControlLength(rest);
        printable += control > 0 ? kReplacement : rest.front();
        rest.remove_prefix(std::max<size_t>(control, 1));
    }
    return printable;
}

#include "ConsoleText.h"

#include <string>

namespace {

constexpr char kReplacement = '?';
constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kDelete = 0x7f;
// In front of a byte of 0x80 to 0x9f: the second set of control characters, of which some open a sequence.
constexpr unsigned char kSecondSetLead = 0xc2;

bool IsControl(unsigned char byte) {
    return byte < kFirstPrintable || byte == kDelete;
}

bool IsSecondSet(unsigned char lead, unsigned char byte) {
    return lead == kSecondSetLead && byte >= 0x80 && byte <= 0x9f;
}

}  // namespace

CAutoString ConsoleText(const char* text) {
    std::string printable;
    for (; *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        const bool isPair = IsSecondSet(byte, static_cast<unsigned char>(text[1]));
        printable += isPair || IsControl(byte) ? kReplacement : *text;
        text += isPair ? 1 : 0;
    }
    return printable;
}

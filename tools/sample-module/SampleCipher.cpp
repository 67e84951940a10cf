#include "SampleCipher.h"

#include <cstring>

namespace sample {
namespace {

// The key stream: a full-period byte generator, so that equal characters of a text look different.
unsigned char NextKey(unsigned char key) {
    return static_cast<unsigned char>(key * 5 + 113);
}

// The value of one digit, or -1.
int DigitValue(char character, const char* digits) {
    const char* found = character != '\0' ? strchr(digits, character) : nullptr;
    return found != nullptr ? static_cast<int>(found - digits) : -1;
}

}  // namespace

const Cipher kFirstCipher = {"7c1d2f40-53a8-4be1-9d06-2f8e6a90c401", "SM1", "0123456789abcdef", 0x5a};
const Cipher kSecondCipher = {"b80e94d7-1c65-4f23-8a7b-e35d017f9c02", "SM2", "GHJKLMNPQRSTUVWX", 0xc3};

void EncodeText(const Cipher& cipher, const char* text, size_t length, char* encoded) {
    unsigned char key = cipher.seed;
    for (size_t position = 0; position < length; ++position) {
        const auto byte = static_cast<unsigned char>(text[position] ^ key);
        *encoded++ = cipher.digits[byte >> 4];
        *encoded++ = cipher.digits[byte & 15];
        key = NextKey(key);
    }
    *encoded = '\0';
}

bool DecodeText(const Cipher& cipher, const char* text, size_t length, char* decoded) {
    char* const start = decoded;
    unsigned char key = cipher.seed;
    for (size_t position = 0; position + 1 < length; position += 2) {
        const int high = DigitValue(text[position], cipher.digits);
        const int low = DigitValue(text[position + 1], cipher.digits);
        if (high < 0 || low < 0) {
            *start = '\0';
            return false;
        }
        *decoded++ = static_cast<char>((high * 16 + low) ^ key);
        key = NextKey(key);
    }
    *decoded = '\0';
    if (length % 2 != 0) {
        *start = '\0';
    }
    return length % 2 == 0;
}

}  // namespace sample

#include "SampleTransform.h"

#include <cstring>

namespace sample {
namespace {

constexpr char kFirstDigits[] = "0123456789abcdef";
constexpr char kSecondDigits[] = "GHJKLMNPQRSTUVWX";
constexpr unsigned char kFirstSeed = 0x5a;
constexpr unsigned char kSecondSeed = 0xc3;

// The key stream: a full-period byte generator, so that equal characters of a text look different.
unsigned char NextKey(unsigned char key) {
    return static_cast<unsigned char>(key * 5 + 113);
}

std::string Encode(const std::string& text, const char* digits, unsigned char key) {
    std::string encoded;
    encoded.reserve(text.size() * 2);
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character ^ key);
        encoded += digits[byte >> 4];
        encoded += digits[byte & 15];
        key = NextKey(key);
    }
    return encoded;
}

// The value of one digit, or -1.
int DigitValue(char character, const char* digits) {
    const char* found = character != '\0' ? strchr(digits, character) : nullptr;
    return found != nullptr ? static_cast<int>(found - digits) : -1;
}

std::string Decode(const std::string& text, const char* digits, unsigned char key) {
    if (text.size() % 2 != 0) {
        return {};
    }
    std::string decoded;
    decoded.reserve(text.size() / 2);
    for (size_t position = 0; position < text.size(); position += 2) {
        const int high = DigitValue(text[position], digits);
        const int low = DigitValue(text[position + 1], digits);
        if (high < 0 || low < 0) {
            return {};
        }
        decoded += static_cast<char>((high * 16 + low) ^ key);
        key = NextKey(key);
    }
    return decoded;
}

std::string EncodeFirst(const std::string& text) {
    return Encode(text, kFirstDigits, kFirstSeed);
}

std::string DecodeFirst(const std::string& text) {
    return Decode(text, kFirstDigits, kFirstSeed);
}

std::string EncodeSecond(const std::string& text) {
    return Encode(text, kSecondDigits, kSecondSeed);
}

std::string DecodeSecond(const std::string& text) {
    return Decode(text, kSecondDigits, kSecondSeed);
}

constexpr Version kVersions[] = {
    {"7c1d2f40-53a8-4be1-9d06-2f8e6a90c401", "SM1", EncodeFirst, DecodeFirst},
    {"b80e94d7-1c65-4f23-8a7b-e35d017f9c02", "SM2", EncodeSecond, DecodeSecond},
};

}  // namespace

const Version& FirstVersion() {
    return kVersions[0];
}

const Version& SecondVersion() {
    return kVersions[1];
}

const Version* FindVersion(const std::string& algorithmId) {
    for (const Version& version : kVersions) {
        if (algorithmId == version.algorithmId) {
            return &version;
        }
    }
    return nullptr;
}

}  // namespace sample

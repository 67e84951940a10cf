#pragma once

#include <cstddef>

// The transform itself, without the C++ library: a library that a module brings into the service along with
// itself stays there when the module is unloaded.
namespace sample {

struct Cipher {
    const char* algorithmId;  // 36-character GUID text
    const char* keyId;        // 3 characters
    const char* digits;       // 16 of them; the versions share none
    unsigned char seed;       // of the key stream
};
extern const Cipher kFirstCipher;
extern const Cipher kSecondCipher;

// Writes the encoded text and a NUL into `encoded`, which has room for 2 * length + 1 bytes.
void EncodeText(const Cipher& cipher, const char* text, size_t length, char* encoded);

// The reverse, into `decoded` with room for length / 2 + 1 bytes. False, with an empty text in `decoded`,
// when the text is not of this cipher's making.
bool DecodeText(const Cipher& cipher, const char* text, size_t length, char* decoded);

}  // namespace sample

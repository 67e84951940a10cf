#pragma once

#include <cstddef>
#include <string>

// Lengths of a key, in bytes.
enum AESKeyLength : size_t { AES_128 = 16 };

constexpr size_t kAesBlockLength = 16;  // bytes, of an initialisation vector too

// How the blocks of a text depend on each other: not at all, each on the cipher of the one before, or as a
// stream that is as long as the text and takes no padding.
enum class AESMode { kEcb, kCbc, kCfb };
// What fills the last block: as many bytes as are missing, each of that value, a whole block when none is; or
// zero bytes, none when none is missing, so that the reader has to know the length.
enum class AESPadding { kPkcs7, kZero };

// AES (FIPS-197). Has no state; threads may encrypt at the same time.
class CAES {
  public:
    // Encrypts in CBC mode with PKCS#7 padding: `cipher` is the next multiple of 16 bytes, a whole block more
    // when `plain` is one already. False and an empty `cipher` when the crypto library refuses.
    static bool EncryptCbc(const std::string& plain, const unsigned char key[AES_128],
                           const unsigned char iv[kAesBlockLength], std::string& cipher);

    // Not used by the service. The same in the other forms that peers of such reports know; `iv` may be null
    // in ECB mode.
    static bool Encrypt(AESMode mode, AESPadding padding, const std::string& plain,
                        const unsigned char key[AES_128], const unsigned char iv[kAesBlockLength],
                        std::string& cipher);
};

#pragma once

#include <cstddef>
#include <string>

// Lengths of a key, in bytes.
enum AESKeyLength : size_t { AES_128 = 16 };

constexpr size_t kAesBlockLength = 16;  // bytes, of an initialisation vector too

// AES (FIPS-197). Has no state; threads may encrypt at the same time.
class CAES {
  public:
    // Encrypts in CBC mode with PKCS#7 padding: `cipher` is the next multiple of 16 bytes, a whole block more
    // when `plain` is one already. False and an empty `cipher` when the crypto library refuses.
    static bool EncryptCbc(const std::string& plain, const unsigned char key[AES_128],
                           const unsigned char iv[kAesBlockLength], std::string& cipher);
};

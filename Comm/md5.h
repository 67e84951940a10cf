#pragma once

#include "AutoString.h"

// MD5 (RFC 1321), for the checksum that goes with the body of every portal request. Has no state; threads may
// compute at the same time.
class CMD5 {
  public:
    // The digest of the NUL-terminated `text` as 32 lower-case hexadecimal digits. Empty when the crypto
    // library refuses MD5.
    static CAutoString MDString(const char* text);
};

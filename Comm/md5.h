#pragma once

#include "AutoString.h"

class CMD5 {
  public:
    // The digest of the NUL-terminated `text` as 32 lower-case hexadecimal digits.
    static CAutoString MDString(const char* text);
};

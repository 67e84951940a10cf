#pragma once

#include "ptlock.h"

class CZsmHelper {
  public:
    static CZsmHelper* GetInst();
    int Init(const char* path, char* key, unsigned long keyLength);
    void Release();
    int IsUpdated();
    const char* GetAlgoId();
    int Update(char* data, unsigned long length);
    char* Code(const char* input);
    char* DeCode(const char* input);
    void FreeResult(const char* text);
};

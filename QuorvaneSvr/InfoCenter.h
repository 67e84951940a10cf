#pragma once

#include <map>

#include "AutoString.h"
#include "XMLOpt.h"
#include "ptlock.h"

class CInfoCenter {
  public:
    virtual ~CInfoCenter() = default;
    static CInfoCenter* GetInst();
    static void Release();
    bool LoadLocalValue(const char* path);
    CAutoString GetLocalValue(const char* key);
    bool SetLocalValue(const char* key, const char* value);
    void SetValue(const char* key, const char* value);
    CAutoString GetValue(const char* key);
    void SetGlobalValue(const char* key, const char* value);
    void SynchroGlobalValue();
    void PostMsg(const char* source, const char* target, const char* opcode, const char* parameters);
};

#pragma once

#include "Markup.h"

class CXMLOpt : public CMarkup {
  public:
    CXMLOpt() = default;
    explicit CXMLOpt(const char* text);
    bool LoadFile(const char* path);
    bool SaveFile();
    CAutoString GetValue(const char* path);
    int GetIntValue(const char* path);
    using CMarkup::GetDoc;
    CAutoString GetDoc(const char* path);
    bool SetValue(const char* path, const char* text);
    bool SetValue(const char* path, int number);
    bool SetXMLPos(const char* path);
    bool CreateXMLPos(const char* path);
    static bool StringSplit(const CAutoString& source, CAutoString& head, CAutoString& rest);
};

#pragma once

#include "AutoString.h"

class CMarkup {
  public:
    enum MarkupNodeFlags {
        MNF_WITHCDATA = 1,
        MNF_WITHNOLINES = 2,
        MNF_WITHXHTMLSPACE = 4,
        MNF_WITHREFS = 8,
        MNF_WITHNOEND = 16,
        MNF_ESCAPEQUOTES = 256,
        MNF_NONENDED = 1048576,
        MNF_ILLDATA = 2097152
    };

    CMarkup() = default;
    bool SetDoc(const char* text);
    CAutoString GetDoc() const;
    bool IsWellFormed() const;
    bool Load(const char* file);
    bool Save(const char* file);
    void ResetPos();
    void ResetChildPos();
    bool FindElem(const char* name = nullptr);
    bool FindChildElem(const char* name = nullptr);
    bool IntoElem();
    bool OutOfElem();
    CAutoString GetTagName() const;
    CAutoString GetData() const;
    CAutoString GetChildData() const;
    CAutoString GetAttrib(const char* name) const;
    CAutoString GetChildAttrib(const char* name) const;
    CAutoString GetSubDoc() const;
    CAutoString GetChildSubDoc() const;
    bool AddElem(const char* name, const char* data = nullptr);
    bool AddChildElem(const char* name, const char* data = nullptr);
    bool InsertChildElem(const char* name, const char* data = nullptr, int flags = 0);
    bool AddChildSubDoc(const char* markup);
    bool SetData(const char* text, int flags = 0);
    bool SetData(int number);
};

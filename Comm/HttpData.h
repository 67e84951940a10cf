#pragma once

#include <cstdint>

#include "AutoString.h"

class CHttpData {
  public:
    explicit CHttpData(bool autoRelease);
    ~CHttpData();
    CHttpData(const CHttpData&) = delete;
    CHttpData& operator=(const CHttpData&) = delete;
    void Release();
    const char* RespHead() const;
    const char* RespData() const;
    void RespHead(char* head);
    void RespData(char* data);
    CAutoString GetHeadAttri(CAutoString name) const;
    CAutoString GetRedirectAddress() const;

    const char* szUrl = nullptr;
    const char* szVerb = "GET";
    const char* szHead = nullptr;
    const char* szPostData = nullptr;
    uint64_t dwPostDataLen = static_cast<uint64_t>(-1);
    uint64_t dwTimeOut = 10000;
    int32_t retCode = 0;
    uint64_t dwDataLen = 0;
    bool bChangeCode = true;
    uint32_t pageCode = 0;
    bool bRedirect = true;
    char* szRespHead = nullptr;
    char* szRespData = nullptr;
    bool m_bAutoRealease;
};

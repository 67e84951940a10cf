#pragma once

#include <map>

#include "AutoString.h"

class CHttpHelper {
  public:
    int SetAddress(CAutoString address);
    CAutoString GetUrl() const;
    CAutoString GetParam(CAutoString name);
    static int ParseAddress(CAutoString address, CAutoString& url, CAutoString& query);
    static int ParseIP(CAutoString address, CAutoString& host);
    static int ParseIP(CAutoString address, CAutoString& host, CAutoString& port);

  private:
    CAutoString m_address;
    CAutoString m_url;
    std::map<CAutoString, CAutoString> m_params;
};

#pragma once

#include "AutoString.h"

class CAdapterCard {
  public:
    int InitAdapterCard();
    int GetActiveCardName(CAutoString& name);
    int GetActiveInterfaceNameIPv6(CAutoString& name);
    int GetIpAndMac(CAutoString ifname, CAutoString& ip, CAutoString& mac);
    int GetIPAddress(int family, const CAutoString& ifname, CAutoString& out);
    int GetHostName(CAutoString& out);
    int GetSystemInfo(CAutoString field, CAutoString& out);
    unsigned long IpString2Ulong(CAutoString text);
};

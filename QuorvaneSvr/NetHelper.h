#pragma once

#include "AutoString.h"

class CNetHelper {
  public:
    int SetDNSServers(CAutoString& dns1, CAutoString& dns2);
};

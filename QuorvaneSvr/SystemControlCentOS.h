#pragma once

#include "SystemControl.h"

// System control for CentOS: asks the sysctl command for the IPv4 forwarding switch, and for IPv4 only.
class CSystemControlCentOS : public CSystemControl {
  public:
    explicit CSystemControlCentOS(ISystemControl** instance);

    int NetworkEnableIpForwarding() override;
    // Callback; `param` is the object. Lines that do not name the switch change nothing.
    static void LogParser(const char* line, void* param);
};

#pragma once

#include <cstdint>

#include "ISystemControl.h"

// The counters of one network interface.
struct NET_DEVICE_STATISTICS {
    char szInterface[32];
    uint64_t un64ReceiveBytes;
    uint64_t un64TransmitBytes;
};

// System control for Linux in general. Used from the work thread only.
class CSystemControl : public ISystemControl {
  public:
    // Stores the address of the new object in `*instance`.
    explicit CSystemControl(ISystemControl** instance);
    CSystemControl(const CSystemControl&) = delete;
    CSystemControl& operator=(const CSystemControl&) = delete;

    // The IPv4 switch of the kernel, or the IPv6 one when that is off. A switch that cannot be read keeps its
    // last value, which is "on" at first: a machine that hides it counts as sharing.
    int NetworkEnableIpForwarding() override;
    int NetworkTrafficStatistics(unsigned long& transmitted, unsigned long& received) override;
    void SetSystemControlLogger(SYSTEMCONTROLLOG callback) override;
    SYSTEMCONTROLLOG GetLogRoutine() override;
    void Release() override;

    // The kernel's IPv4 forwarding switch. False, and `enabled` as it was, when it cannot be read; errno
    // tells why it cannot be opened. Any thread may call it.
    static bool ReadIpForward(int& enabled);

    // Callbacks; `param` is the object. Lines of another form change nothing.
    static void LogParser(const char* line, void* param);
    static void ResultParser(const char* line, void* param);

  protected:
    int m_nIP_Forward_Enabled = 1;
    NET_DEVICE_STATISTICS m_sStatistics = {};
    CShellExecutor m_Executor;
};

#pragma once

#include <map>

#include "AutoString.h"
#include "SystemControlAdapter.h"

// Finds out whether the campus connection is shared, by the rules that the portal sends along with the login:
// programs that must not run, and IP forwarding. Used from the work thread only.
class CWiFiSharedValidate {
  public:
    virtual ~CWiFiSharedValidate() = default;

    // Reads the rules out of the "against" list. Returns whether rules have been read, now or before.
    bool Initialization(const char* xml);
    // 1 when the connection is shared, 0 when it is not or there are no rules: the name says the opposite,
    // and the callers go by the number. The rules are those of the first readable list, whatever later lists
    // say. A machine without the ps command counts as running the first listed program.
    int IsValidEnvironment(const char* xml);
    // What was found last, as bytes in GB18030; empty before. Valid until the next check.
    const char* GetDisplayName() const { return m_strDisplayName; }

    // Not used by the service.
    // The kernel's IPv4 forwarding switch alone; 1 when it cannot be read.
    int NetworkEnableIpForwarding();

  private:
    bool IsProcessRunning(const char* name);
    bool FindProcess();
    bool FindForwarding();

    bool m_bIsInitialized = false;
    bool m_bIPForward = false;
    CAutoString m_strDisplayName;
    std::map<CAutoString, CAutoString> m_mProcesses;  // process name to the name that is shown for it
    CSystemControlAdapter m_Adapter;
};

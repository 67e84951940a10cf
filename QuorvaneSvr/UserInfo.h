#pragma once

#include "AutoString.h"

// Who this installation is to the portal: the client id, which is made once and then kept in the settings
// file, the machine's name and the version of the client. Used by the main thread before others exist.
class CUserInfo {
  public:
    // Gathers the three and publishes them as "clientId", "hostName" and "version" in memory, and the client
    // id in the settings file as well. Always 1.
    int Init();
    // The client id of the settings file, or a new one when there is none.
    CAutoString GetClientId();
    // A new, UUID-shaped id.
    CAutoString CreateClientId();
    // The name of this machine; empty when it cannot be had.
    CAutoString GetHostName();
    // The version that the installation wrote into the settings file.
    CAutoString GetVersion();

  private:
    CAutoString m_clientId;
    CAutoString m_hostName;
    CAutoString m_version;
};

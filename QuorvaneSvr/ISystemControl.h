#pragma once

#include "ShellExecutor.h"

// What the service asks of the operating system about the machine's network. One implementation for each kind
// of distribution; CSystemControlAdapter chooses.
class ISystemControl {
  public:
    // 0 when the machine does not forward IP packets, another value when it does or when that is unknown.
    virtual int NetworkEnableIpForwarding() = 0;
    // Bytes that the interface of the default route has sent and received since it was made. 0, or -1 when
    // the command could not be run. Without a default route the values are those of the call before.
    virtual int NetworkTrafficStatistics(unsigned long& transmitted, unsigned long& received) = 0;
    // Not used by the service. Who reads the lines of the commands to come; its parameter is this object. The
    // commands above set a reader of their own.
    virtual void SetSystemControlLogger(SYSTEMCONTROLLOG callback) = 0;
    virtual SYSTEMCONTROLLOG GetLogRoutine() = 0;
    // Destroys the object.
    virtual void Release() = 0;
    virtual ~ISystemControl() = default;
};

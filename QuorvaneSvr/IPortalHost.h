#pragma once

#include "AutoString.h"
#include "INetConn.h"
#include "comm.h"

class CInfoCenter;

// What the protocol engine needs of the business that owns it. The portal business is the real one; a test
// brings its own. Calls come from the thread that runs the engine's operation.
class IPortalHost {
  public:
    virtual CInfoCenter* GetInfoCenter() = 0;
    // Addresses of the active adapter and their family, as CAuthConfig::m_afType names it. 1, or -1 when
    // there is none.
    virtual int GetIpAndMac(CAutoString& ip4, CAutoString& ip6, CAutoString& mac, int& family) = 0;
    virtual BOOL IsPortalEnv() = 0;
    // The network answers, but not with a portal's answer: what the portal told of it counts no longer.
    virtual void ChangeToUnknowEnv() = 0;
    // Starts a log-out with `reason` where the portal asks for statistics, otherwise nothing; returns at
    // once.
    virtual void DisConnect(CAutoString reason) = 0;
    // Writes the DNS servers; the arguments then hold the ones written over. 0, or an errno.
    virtual int SetDNS(CAutoString& dns1, CAutoString& dns2) = 0;
    virtual void PostMsg(const char* target, const char* opcode, const char* param) = 0;
    virtual void PostNetStateMessage(INetConn::ETYPE type, INetConn::ESTATE oldState,
                                     INetConn::ESTATE newState, int errorCode, CAutoString subErrCode) = 0;
    virtual void PostNetStateMessageEx(INetConn::ETYPE type, INetConn::ESTATE oldState,
                                       INetConn::ESTATE newState, int errorCode, const char* subType,
                                       const char* extra) = 0;

  protected:
    ~IPortalHost() = default;
};

// The host of every engine that is built without one: the portal business. Defined beside it.
IPortalHost& DefaultPortalHost();

#pragma once

#include "AutoString.h"
#include "IPortalHost.h"
#include "ptlock.h"

// The last state report of a connection, for a front end that attaches after it was posted. Every operation
// may be called from any thread.
class CLastReport {
  public:
    // Keep a report, a plain one or an extended one, in place of the one that was kept before.
    void Take(INetConn::ESTATE oldState, INetConn::ESTATE newState, int code, const CAutoString& subCode);
    void TakeExtended(INetConn::ESTATE oldState, INetConn::ESTATE newState, int code, const char* type,
                      const char* extra);
    // Posts it to `host` once more; nothing before the first report. The lock is held while posting, too: a
    // report that comes in meanwhile is posted after this repetition, so the front end ends up with the
    // newer one.
    void Repeat(IPortalHost& host);

  private:
    static constexpr int kNoReport = -1;
    static constexpr int kPlainReport = 0;
    static constexpr int kExtendedReport = 1;

    MutexLock m_lock;  // guards the fields below
    INetConn::ESTATE m_lastState = INetConn::ES_NONE;
    INetConn::ESTATE m_lastOldState = INetConn::ES_NONE;
    int m_lastErrorcode = 0;
    CAutoString m_lastSubErrCode;
    int m_lastErrType = kNoReport;
    CAutoString m_lastSubType;
    CAutoString m_lastExtern;
};

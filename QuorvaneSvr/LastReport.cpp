#include "LastReport.h"

#include "guard.h"

void CLastReport::Take(INetConn::ESTATE oldState, INetConn::ESTATE newState, int code,
                       const CAutoString& subCode) {
    const CLockGuard<GLockObj> guard(m_lock);
    m_lastErrType = kPlainReport;
    m_lastState = newState;
    m_lastOldState = oldState;
    m_lastErrorcode = code;
    m_lastSubErrCode = subCode;
}

void CLastReport::TakeExtended(INetConn::ESTATE oldState, INetConn::ESTATE newState, int code,
                               const char* type, const char* extra) {
    const CLockGuard<GLockObj> guard(m_lock);
    m_lastErrType = kExtendedReport;
    m_lastState = newState;
    m_lastOldState = oldState;
    m_lastErrorcode = code;
    m_lastSubType = type;
    m_lastExtern = extra;
}

void CLastReport::Repeat(IPortalHost& host) {
    const CLockGuard<GLockObj> guard(m_lock);
    if (m_lastErrType == kPlainReport) {
        host.PostNetStateMessage(INetConn::ET_PORTAL, m_lastOldState, m_lastState, m_lastErrorcode,
                                 m_lastSubErrCode);
    } else if (m_lastErrType == kExtendedReport) {
        host.PostNetStateMessageEx(INetConn::ET_PORTAL, m_lastOldState, m_lastState, m_lastErrorcode,
                                   m_lastSubType, m_lastExtern);
    }
}

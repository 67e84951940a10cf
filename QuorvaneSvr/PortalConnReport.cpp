// The engine's state and the reports of its changes.
#include <ctime>

#include "Log.h"
#include "PortalCodes.h"
#include "PortalConn.h"

namespace {

constexpr char kExchangeErrorType[] = "HttpError";

constexpr int kPlainReport = 0;
constexpr int kExtendedReport = 1;

}  // namespace

UINT CPortalConn::ProcessorSeconds() {
    return static_cast<UINT>(clock() / CLOCKS_PER_SEC);
}

void CPortalConn::NetStateChange(ESTATE oldState, ESTATE newState, int code, CAutoString subCode) {
    CLog::GetInst()->WriteLog(INFO, "NetStateChange curState %d, oldState %d,newState %d,code %d,subCode %s",
                              GetNetState(), oldState, newState, code, subCode.GetBuffer());
    const bool stands = GetNetState() == ES_CONNECTED || GetNetState() == ES_PRECONNECTED;
    if (stands && newState == ES_PRECONNECTING) {
        return;
    }
    WriteRelaxed(m_eState, newState);
    switch (newState) {
        case ES_PRECONNECTED:
        case ES_CONNECTING: PostNetStateMessage(oldState, newState, code, subCode); break;
        case ES_CONNECTFAIL:
            PostNetStateMessage(oldState, newState, code, subCode);
            m_nConnectStartTime = 0;
            break;
        case ES_CONNECTED:
            SetConnCfg(1);
            m_nConnectStartTime = ProcessorSeconds();
            PostNetStateMessage(oldState, newState, code, subCode);
            break;
        case ES_DISCONNECTED:
            m_nConnectStartTime = 0;
            PostNetStateMessage(oldState, newState, code, subCode);
            break;
        case ES_PRECONNECTFAIL:
        case ES_PRECONNECTING:
            PostNetStateMessage(oldState, newState, code, subCode);
            Sleep(kReportRestMs);
            break;
        default: break;
    }
}

void CPortalConn::PostNetStateMessage(ESTATE oldState, ESTATE newState, int code, CAutoString subCode) {
    {
        const CLockGuard<GLockObj> guard(m_reportLock);
        m_lastErrType = kPlainReport;
        m_lastState = newState;
        m_lastOldState = oldState;
        m_lastErrorcode = code;
        m_lastSubErrCode = subCode;
    }
    m_host.PostNetStateMessage(ET_PORTAL, oldState, newState, code, subCode);
}

void CPortalConn::PostNetStateMessageEx(ESTATE oldState, ESTATE newState, int code, const char* type,
                                        const char* extra) {
    {
        const CLockGuard<GLockObj> guard(m_reportLock);
        m_lastErrType = kExtendedReport;
        m_lastState = newState;
        m_lastOldState = oldState;
        m_lastErrorcode = code;
        m_lastSubType = type;
        m_lastExtern = extra;
    }
    m_host.PostNetStateMessageEx(ET_PORTAL, oldState, newState, code, type, extra);
}

// The lock is held while posting, too: a report that comes in meanwhile is posted after this repetition, so
// the front end ends up with the newer one.
void CPortalConn::PostLastNetStateMessage() {
    const CLockGuard<GLockObj> guard(m_reportLock);
    if (m_lastErrType == kPlainReport) {
        m_host.PostNetStateMessage(ET_PORTAL, m_lastOldState, m_lastState, m_lastErrorcode, m_lastSubErrCode);
    } else if (m_lastErrType == kExtendedReport) {
        m_host.PostNetStateMessageEx(ET_PORTAL, m_lastOldState, m_lastState, m_lastErrorcode, m_lastSubType,
                                     m_lastExtern);
    }
}

void CPortalConn::PostError(ESTATE state, unsigned long code, unsigned long subCode, int /*flag*/) {
    WriteRelaxed(m_eState, state);
    CAutoString sub;
    sub.Format("%ld", static_cast<long>(subCode));
    PostNetStateMessageEx(ES_NONE, state, static_cast<int>(code), kExchangeErrorType, sub);
}

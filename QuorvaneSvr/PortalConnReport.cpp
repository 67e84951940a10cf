// The engine's state and the reports of its changes.
#include "Log.h"
#include "PortalCodes.h"
#include "PortalConn.h"

namespace {

constexpr char kExchangeErrorType[] = "HttpError";

}  // namespace

void CPortalConn::NetStateChange(ESTATE oldState, ESTATE newState, int code, CAutoString subCode) {
    CLog::GetInst()->WriteLog(INFO, "NetStateChange curState %d, oldState %d,newState %d,code %d,subCode %s",
                              GetNetState(), oldState, newState, code, subCode.GetBuffer());
    const bool stands = GetNetState() == ES_CONNECTED || GetNetState() == ES_PRECONNECTED;
    if (stands && newState == ES_PRECONNECTING) {
        return;
    }
    EnterState(newState);
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

// The one place that writes the state.
void CPortalConn::EnterState(ESTATE state) {
    WriteRelaxed(m_eState, state);
}

void CPortalConn::PostNetStateMessage(ESTATE oldState, ESTATE newState, int code, CAutoString subCode) {
    m_lastReport.Take(oldState, newState, code, subCode);
    m_host.PostNetStateMessage(ET_PORTAL, oldState, newState, code, subCode);
}

void CPortalConn::PostNetStateMessageEx(ESTATE oldState, ESTATE newState, int code, const char* type,
                                        const char* extra) {
    m_lastReport.TakeExtended(oldState, newState, code, type, extra);
    m_host.PostNetStateMessageEx(ET_PORTAL, oldState, newState, code, type, extra);
}

void CPortalConn::PostError(ESTATE state, unsigned long code, unsigned long subCode, int /*flag*/) {
    EnterState(state);
    CAutoString sub;
    sub.Format("%ld", static_cast<long>(subCode));
    PostNetStateMessageEx(ES_NONE, state, static_cast<int>(code), kExchangeErrorType, sub);
}

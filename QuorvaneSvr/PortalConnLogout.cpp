// Logging out, this terminal or another one of the same user.
#include "Log.h"
#include "PortalCodes.h"
#include "PortalConn.h"

namespace {

constexpr char kTerminalData[] = "<response>";

}  // namespace

int CPortalConn::DisConnect(const char* reason) {
    CLog::GetInst()->WriteLog(INFO, "DisConnect For %s", reason);
    // The address decides, not the text. The work loop hands on a copy, so the log-out of a recorded login
    // sends no such report.
    if (reason == LogoutReason::kRecordedLogin) {
        NetStateChange(ES_PRECONNECTING, ES_PRECONNECTING, StateCode::kRecordedLogoutStarted, "");
        SetConnCfg(0);
    }
    const CAuthConfig& record = *m_pPortalConf;
    const CAutoString body =
        m_portalParse.MakeTermRequestData(record.strUserAgent, record.strClientId, record.strTicket,
                                          CommFunc::GetLocalTime(kPortalTimeFormat), reason);
    CLog::GetInst()->WriteLog(INFO, "TermUrl is :%s", record.strTermUrl.GetBuffer());
    Exchange exchange;
    Post(QuorvaneSvr::term, record.strTermUrl, body, RequestTimeOut::kStandard, exchange);
    if (m_host.IsPortalEnv() == 0) {
        SetConnCfg(0);
        ForgetServers();  // they are those of a network that has been left
        return PortalResult::kNegative;
    }
    // No pulse follows this reason: the portal ends the login, whether it hears of the log-out or not. After
    // any other one pulses go on, and with them the login and its servers.
    if (exchange.result != PortalResult::kRepeat && CAutoString(reason) == LogoutReason::kKeepAliveFailed) {
        ForgetServers();
    }
    return exchange.result == PortalResult::kSuccess ? FinishLogout() : JudgeLogoutFailure(exchange);
}

int CPortalConn::JudgeLogoutFailure(const Exchange& exchange) {
    switch (exchange.result) {
        case PortalResult::kRepeat: return exchange.result;
        case PortalResult::kFailure:
            // Not reported to the front end.
            CLog::GetInst()->WriteLog(INFO, "term http err is :%d", static_cast<int>(exchange.code));
            return PortalResult::kFailure;
        case PortalResult::kIntercepted:
            // The portal business has left the portal network by then, and this is not reached.
            NetStateChange(ES_CONNECTED, ES_DISCONNECTFAIL, StateCode::kIntercepted, "");
            return exchange.result;
        case PortalResult::kPortalError:
            if (exchange.code == PortalError::kAlreadyLoggedOut ||
                exchange.code == PortalError::kLoginEnded) {
                CLog::GetInst()->WriteLog(INFO, "portal term response head err code is :%d",
                                          static_cast<int>(exchange.code));
                return FinishLogout();
            }
            ReportPortalError(ES_CONNECTING, ES_CONNECTFAIL, exchange);
            return PortalResult::kFailure;
        default: return PortalResult::kFailure;
    }
}

int CPortalConn::FinishLogout() {
    SetConnCfg(0);
    m_lastOffline = ProcessorSeconds();
    ForgetServers();
    NetStateChange(ES_DISCONNECTING, ES_DISCONNECTED, StateCode::kSuccess, "");
    return PortalResult::kSuccess;
}

// The next login may be one that the state check finds, such as by QR code. An answer of that check which
// names no servers keeps those that are known, and they must not be the ones of this session.
void CPortalConn::ForgetServers() {
    m_pushedServers.GiveBack();
    m_pPortalConf->m_strDNS.Empty();
}

void CPortalConn::Destroy() {
    if (GetConnCfg() == 1) {
        (void)DisConnect(LogoutReason::kShutdown);  // the process ends; nothing can be done about a failure
    }
}

int CPortalConn::TerminalRequestData(CAutoString& out) {
    CLog::GetInst()->WriteLog(INFO, "TerminalRequestData http start");
    const CAuthConfig& record = *m_pPortalConf;
    Exchange exchange;
    do {
        const CAutoString body = m_portalParse.MakeTerminalRequestData(
            record.strUserAgent, record.strClientId, CommFunc::GetLocalTime(kPortalTimeFormat));
        CLog::GetInst()->WriteLog(INFO, "terminal Http URL is :%s", record.strQueryUrl.GetBuffer());
        Post(QuorvaneSvr::terminal, record.strQueryUrl, body, RequestTimeOut::kTerminal, exchange);
    } while (exchange.result == PortalResult::kRepeat);
    if (exchange.result != PortalResult::kSuccess) {
        return 0;
    }
    CAutoString document = m_portalParse.DecodePostResponseData(exchange.answer.RespData());
    document.Replace("%", " ");
    const int start = document.Find(kTerminalData);
    if (start < 0) {
        return 0;
    }
    out = document.Mid(start);
    return 1;
}

int CPortalConn::TerminalTermRequest(CAutoString ticket) {
    CLog::GetInst()->WriteLog(INFO, "TerminalTermRequest DisConnect For %s", LogoutReason::kOtherTerminal);
    const CAuthConfig& record = *m_pPortalConf;
    Exchange exchange;
    do {
        const CAutoString body = m_portalParse.MakeTermRequestData(
            record.strUserAgent, record.strClientId, ticket, CommFunc::GetLocalTime(kPortalTimeFormat),
            LogoutReason::kOtherTerminal);
        Post(QuorvaneSvr::terminalTerm, record.strTermUrl, body, RequestTimeOut::kStandard, exchange);
        CLog::GetInst()->WriteLog(INFO, "TerminalTermRequest TermUrl is :%s return code:%d",
                                  record.strTermUrl.GetBuffer(), exchange.result);
    } while (exchange.result == PortalResult::kRepeat);
    return exchange.result;
}

// While logged in: the pulses that prove our presence, and the question whether the login still stands.
#include <limits>

#include "InfoCenter.h"
#include "Log.h"
#include "PortalCodes.h"
#include "PortalConn.h"
#include "guard.h"

namespace {

constexpr UINT kRestartDelaySeconds = 5;  // of processor time
constexpr unsigned kRestartPollMs = 500;

}  // namespace

int CPortalConn::KeepPluse() {
    if (m_pPortalConf->strKeepUrl.IsEmpty()) {
        CLog::GetInst()->WriteLog(INFO, "Keep url is empty");
        return PortalResult::kFailure;
    }
    const CAutoString body = MakePulseBody();
    Exchange exchange;
    Post(QuorvaneSvr::pluse, m_pPortalConf->strKeepUrl, body, RequestTimeOut::kStandard, exchange);
    return exchange.result == PortalResult::kSuccess ? TakePulse(exchange.answer)
                                                     : JudgePulseFailure(exchange);
}

CAutoString CPortalConn::MakePulseBody() {
    CAutoString ip4;
    CAutoString ip6;
    CAutoString mac;
    (void)AskAddresses(ip4, ip6, mac);  // a pulse without addresses is still a pulse
    const CAuthConfig& record = *m_pPortalConf;
    return m_portalParse.MakeKeepRequestData(record.strUserAgent, record.strClientId, record.strTicket, ip4,
                                             ip6, mac, CommFunc::GetLocalTime(kPortalTimeFormat), nullptr,
                                             record.checkResult);
}

int CPortalConn::TakePulse(const CHttpData& answer) {
    CAuthConfig& record = *m_pPortalConf;
    if (m_portalParse.ParserKeepResponse(answer.RespData(), record.iInterval, record.iKeepLevel) != 0) {
        return PortalResult::kNegative;
    }
    if (record.fileIntervalFlag == 1) {
        record.iInterval = record.fileInterval;
    }
    m_keepRetry = record.iKeepRetry;
    return PortalResult::kSuccess;
}

int CPortalConn::JudgePulseFailure(const Exchange& exchange) {
    if (exchange.result == PortalResult::kRepeat) {
        return exchange.result;
    }
    if (exchange.result == PortalResult::kRefused) {
        return PortalResult::kFailure;
    }
    if (exchange.result == PortalResult::kPortalError && exchange.code == PortalError::kLoginEnded) {
        CLog::GetInst()->WriteLog(INFO, "KeepPluseThread err ret is %d, code is %d", exchange.result,
                                  static_cast<int>(exchange.code));
        NetStateChange(ES_CONNECTED, ES_DISCONNECTED, PortalError::kLoginEnded, "");
        return PortalResult::kLoginEnded;
    }
    // A portal that asks for fewer than no retries tolerates every failure.
    if (m_keepRetry != 0) {
        m_keepRetry -= m_keepRetry > std::numeric_limits<int>::min() ? 1 : 0;
        return PortalResult::kNegative;
    }
    if (exchange.result == PortalResult::kPortalError) {
        ReportPortalError(ES_CONNECTING, ES_CONNECTFAIL, exchange);
    }
    // An interception and a server error have been reported by the request engine.
    if (exchange.result != PortalResult::kIntercepted && exchange.result != PortalResult::kServerError) {
        NetStateChange(ES_CONNECTING, ES_CONNECTFAIL, StateCode::kKeepAliveFailed, "");
    }
    return PortalResult::kFailure;
}

int CPortalConn::CheckConnectState(int /*type*/) {
    CLog::GetInst()->WriteLog(INFO, "Portal check state");
    const CLockGuard<GLockObj> wholeCheck(m_stateLock, RWLock::kExclusive);
    const CAuthConfig& record = *m_pPortalConf;
    if (record.strTicket.IsEmpty() || record.strStateUrl.IsEmpty() || record.strClientId.IsEmpty()) {
        CLog::GetInst()->WriteLog(INFO, "Portal state url is %s", record.strStateUrl.GetBuffer());
        return PortalResult::kFailure;
    }
    const CAutoString body = m_portalParse.MakeStateRequestData(
        record.strUserAgent, record.strClientId, record.strTicket, CommFunc::GetLocalTime(kPortalTimeFormat));
    Exchange exchange;
    Post(QuorvaneSvr::reqState, record.strStateUrl, body, RequestTimeOut::kStandard, exchange);
    switch (exchange.result) {
        case PortalResult::kRepeat: return exchange.result;
        case PortalResult::kSuccess: return TakeState(exchange.answer);
        case PortalResult::kPortalError: return JudgeStateError(exchange.code);
        case PortalResult::kRefused: return PortalResult::kFailure;
        default:
            CLog::GetInst()->WriteLog(INFO, "state http err is :%d,errCode is %d", exchange.result,
                                      static_cast<int>(exchange.code));
            GiveBackServersElsewhere();
            return PortalResult::kNegative;
    }
}

// In a network without our portal no log-out follows, and nobody answers at the servers' addresses. They are
// kept in mind: they count again when the portal says that the login still stands.
void CPortalConn::GiveBackServersElsewhere() {
    if (m_host.IsPortalEnv() == 0) {
        m_pushedServers.GiveBack();
    }
}

// The portal says that the login stands. That holds even when the rest of its answer cannot be read.
int CPortalConn::TakeState(const CHttpData& answer) {
    CAutoString& dns = m_pPortalConf->m_strDNS;
    if (ReadLogin(answer, dns) && !dns.IsEmpty()) {
        (void)SetDNS(dns);  // a login that stands is kept without the servers, too
    }
    NetStateChange(ES_CONNECTING, ES_CONNECTED, StateCode::kSuccess, "");
    m_host.GetInfoCenter()->SyncLocalValue();
    return PortalResult::kSuccess;
}

int CPortalConn::JudgeStateError(unsigned long code) {
    if (code == PortalError::kStateUndecided || code == PortalError::kStateUndecidedToo) {
        return PortalResult::kNegative;
    }
    if (code == PortalError::kLoginEnded && GetNetState() == ES_CONNECTED) {
        NetStateChange(ES_CONNECTED, ES_CONNECTFAIL, StateCode::kLoginUnknown, "");
    }
    ForgetServers();  // no log-out follows
    return PortalResult::kLoginEnded;
}

int CPortalConn::CheckConnectStateForType(CAutoString /*type*/, int /*state*/) {
    return 0;
}

void CPortalConn::WaitForRestartConnect() {
    while (ProcessorSeconds() - m_lastOffline <= kRestartDelaySeconds) {
        Sleep(kRestartPollMs);
    }
}

void CPortalConn::CheckWifiShare() {}

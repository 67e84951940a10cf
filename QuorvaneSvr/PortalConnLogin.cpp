// From the ticket to the login.
#include <algorithm>
#include <cerrno>
#include <limits>

#include "ClientOperations.h"
#include "ElementText.h"
#include "InfoCenter.h"
#include "Log.h"
#include "MarkupRead.h"
#include "PortalCodes.h"
#include "PortalConn.h"
#include "PortalElements.h"
#include "RecordSettings.h"
#include "XMLOpt.h"
#include "guard.h"

namespace {

constexpr char kLastLoginHeader[] = "Last-Login";
constexpr char kLoginErrorType[] = "ConnError";

// "Please log in to the broadband with your mobile number" in GBK, as the log is read.
constexpr char kUseTelephoneNumber[] =
    "\xc7\xeb\xca\xb9\xd3\xc3\xca\xd6\xbb\xfa\xba\xc5\xc2\xeb\xd7\xf7\xce\xaa\xbf\xed\xb4\xf8\xb5\xc7\xc2\xbc"
    "\xd5\xcb\xba\xc5";

// What the portal's configuration asks to be done to account names.
constexpr char kAddDomain[] = "add-domain";
constexpr char kDeleteDomain[] = "del-domain";

constexpr int kPortalConnection = 1;  // connection type after a login

// The portal's numbers of seconds; below 0 there is no time to wait.
uint64_t ToSeconds(int number) {
    return number > 0 ? static_cast<uint64_t>(number) : 0;
}

// The portal's numbers are not bounded; a report's code and the count of failures are.
constexpr int kMostRetries = std::numeric_limits<int>::max() - 1;

int CodeOfPortalError(unsigned long error) {
    // The engine's numbers are signed; where they have 32 bits, a missing one would become a large one.
    const int64_t code = StateCode::kPortalErrorBase + int64_t{static_cast<int>(error)};
    return static_cast<int>(std::min<int64_t>(code, std::numeric_limits<int>::max()));
}

}  // namespace

int CPortalConn::RequestTicket() {
    const int result = _RequestTicket();
    if (result != PortalResult::kSuccess) {
        return result;
    }
    const CAuthConfig& record = *m_pPortalConf;
    SaveRecord(*m_host.GetInfoCenter(), record, RecordGroup::kTicket);
    CLog::GetInst()->WriteLog(INFO, "ticket is %s", record.strTicket.GetBuffer());
    NetStateChange(ES_PRECONNECTING, ES_PRECONNECTED, StateCode::kTicketObtained, "");
    // The front end shows <qr> as a QR code for the login by mobile.
    const CAutoString ticket = ElementText(record.strTicket);
    const CAutoString hostName = ElementText(record.hostName);
    CAutoString parameters;
    parameters.Format("<ticket>%s</ticket><hostname>%s</hostname><qr>ravo://%s@%s</qr>", ticket.GetBuffer(),
                      hostName.GetBuffer(), ticket.GetBuffer(), hostName.GetBuffer());
    m_host.PostMsg(kPortalBusiness, ClientReport::kTicket, parameters);
    return result;
}

int CPortalConn::_RequestTicket() {
    const CLockGuard<GLockObj> oneAtATime(m_requestTicketTry, RWLock::kExclusive);
    CLog::GetInst()->WriteLog(INFO, "CPortalConn::_RequestTicket");
    if (!HasTicketUrl()) {
        return PortalResult::kFailure;
    }
    NetStateChange(ES_PRECONNECTING, ES_PRECONNECTING, StateCode::kTicketRequested, "");
    if (!TakeAddresses()) {
        return TicketResult::kNoAddress;
    }
    const CAuthConfig& record = *m_pPortalConf;
    const CAutoString body = m_portalParse.MakeTickRequestData(
        record.hostName, record.strUserAgent, record.strClientId, record.ip4, record.ip6, record.mac,
        CommFunc::GetLocalTime(kPortalTimeFormat), record.ostag);
    if (body.IsEmpty()) {
        NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL, StateCode::kTicketBodyEmpty, "");
        return TicketResult::kNoBody;
    }
    Exchange exchange;
    Post(QuorvaneSvr::reqTicket, record.strTickUrl, body, RequestTimeOut::kStandard, exchange);
    return exchange.result == PortalResult::kSuccess ? TakeTicket(exchange.answer)
                                                     : JudgeTicketFailure(exchange);
}

bool CPortalConn::HasTicketUrl() {
    if (!m_pPortalConf->strTickUrl.IsEmpty()) {
        return true;
    }
    (void)RequestConfig(0);  // what counts is whether it brought the address
    if (!m_pPortalConf->strTickUrl.IsEmpty()) {
        return true;
    }
    CLog::GetInst()->WriteLog(INFO, "CPortalConn::ticketUrl is NULL");
    NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL, StateCode::kNoTicketUrl, "");
    return false;
}

bool CPortalConn::TakeAddresses() {
    CAutoString ip4;
    CAutoString ip6;
    CAutoString mac;
    const int result = AskAddresses(ip4, ip6, mac);
    CLog::GetInst()->WriteLog(INFO, "ip4 is %s", ip4.GetBuffer());
    if (result != 1) {
        NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL, StateCode::kAddressesUnavailable, "");
        return false;
    }
    NetStateChange(ES_PRECONNECTING, ES_PRECONNECTING, StateCode::kAddressesKnown, "");
    NoteAddresses(ip4, ip6, mac);
    return true;
}

int CPortalConn::JudgeTicketFailure(const Exchange& exchange) {
    switch (exchange.result) {
        case PortalResult::kRepeat: return exchange.result;
        case PortalResult::kFailure:
            if (GetNewServerIP(m_pPortalConf->strTickUrl) != 0) {
                return TicketResult::kServerChanged;
            }
            CLog::GetInst()->WriteLog(INFO, "ticket http err is :%d", static_cast<int>(exchange.code));
            PostError(ES_PRECONNECTING, StateCode::kTicketExchangeFailed, exchange.code, 1);
            return PortalResult::kFailure;
        case PortalResult::kIntercepted:
            NetStateChange(ES_CONNECTED, ES_DISCONNECTFAIL, StateCode::kIntercepted, "");
            return exchange.result;
        case PortalResult::kPortalError:
            ReportPortalError(ES_PRECONNECTING, ES_PRECONNECTFAIL, exchange);
            return PortalResult::kFailure;
        default: return PortalResult::kFailure;
    }
}

int CPortalConn::TakeTicket(const CHttpData& answer) {
    CAutoString ticket = m_pPortalConf->strTicket;
    int expire = m_pPortalConf->expire;
    if (m_portalParse.ParserTickResponse(answer.RespData(), ticket, expire) != 0) {
        NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL, StateCode::kTicketUnreadable, "");
        return TicketResult::kUnreadable;
    }
    m_pPortalConf->strTicket = ticket;
    m_pPortalConf->expire = expire;
    m_host.GetInfoCenter()->SetGlobalValue(SettingsKey::kTicket, ticket);
    return PortalResult::kSuccess;
}

int CPortalConn::Connect(const char* param) {
    CLog::GetInst()->WriteLog(INFO, "portal connect start");
    CXMLOpt request(param);
    if (!request.IsWellFormed()) {
        return PortalResult::kFailure;
    }
    CAuthConfig& record = *m_pPortalConf;
    record.userName = request.GetValue(kUserPath);
    record.password = request.GetValue(kPasswordPath);
    AccountTran();
    CLog::GetInst()->WriteLog(INFO, "CPortalConn::ConnectThread");
    NetStateChange(ES_NONE, ES_CONNECTING, StateCode::kLoggingIn, "");
    CLog::GetInst()->WriteLog(INFO, "account is %s", record.userName.GetBuffer());

    const CAutoString body = m_portalParse.MakeAuthRequestData(
        record.strUserAgent, record.strClientId, record.userName, record.password, record.strTicket,
        CommFunc::GetLocalTime(kPortalTimeFormat));
    CLog::GetInst()->WriteLog(INFO, "authUrl is :%s", record.strAuthUrl.GetBuffer());
    Exchange exchange;
    Post(QuorvaneSvr::auth, record.strAuthUrl, body, RequestTimeOut::kLogin, exchange);
    return exchange.result == PortalResult::kSuccess ? TakeLogin(exchange.answer)
                                                     : JudgeLoginFailure(exchange);
}

void CPortalConn::AccountTran() {
    CAuthConfig& record = *m_pPortalConf;
    CAutoString& name = record.userName;
    name.Trim();
    const int at = name.Find('@');
    if (record.m_strAcountType == kAddDomain) {
        const CAutoString& domain =
            record.m_strAcountValue.IsEmpty() ? record.domain : record.m_strAcountValue;
        name = (at < 0 ? name : name.Left(at)) + "@" + domain;
    } else if (record.m_strAcountType == kDeleteDomain && at >= 0) {
        name = name.Left(at);
    }
}

int CPortalConn::JudgeLoginFailure(const Exchange& exchange) {
    switch (exchange.result) {
        case PortalResult::kRepeat: return exchange.result;
        case PortalResult::kFailure:
            CLog::GetInst()->WriteLog(INFO, "auth http err is :%d", static_cast<int>(exchange.code));
            PostError(ES_CONNECTFAIL, StateCode::kLoginExchangeFailed, exchange.code, 1);
            return PortalResult::kFailure;
        case PortalResult::kIntercepted:
            NetStateChange(ES_PRECONNECTING, ES_CONNECTFAIL, StateCode::kIntercepted, "");
            return exchange.result;
        case PortalResult::kPortalError:
            if (exchange.code == PortalError::kAccountRefused) {
                ReportAccountRefused(exchange);
            } else if (exchange.code != PortalError::kLoginEnded) {
                ReportPortalError(ES_CONNECTING, ES_CONNECTFAIL, exchange);
            }
            return PortalResult::kFailure;
        default: return PortalResult::kFailure;
    }
}

void CPortalConn::ReportPortalError(ESTATE oldState, ESTATE newState, const Exchange& exchange) {
    NetStateChange(oldState, newState, CodeOfPortalError(exchange.code), exchange.subCode);
}

// What the user is told of a refused account depends on what the portal knows of it and how it looks.
void CPortalConn::ReportAccountRefused(const Exchange& exchange) {
    CLog::GetInst()->WriteLog(INFO, "auth resopnse err is 105");
    CLog::GetInst()->WriteLog(INFO, "%s", exchange.answer.RespHead());
    const CAutoString lastLogin = exchange.answer.GetHeadAttri(kLastLoginHeader).Left(kLongestNote);
    if (!lastLogin.IsEmpty()) {
        PostNetStateMessageEx(ES_CONNECTING, ES_CONNECTFAIL, StateCode::kAccountRefusedWithLastLogin,
                              kLoginErrorType, lastLogin);
        return;
    }
    const CAutoString& account = m_pPortalConf->userName;
    const int at = account.Find('@');
    if (IsTelNum(at < 0 ? account : account.Left(at))) {
        ReportPortalError(ES_CONNECTING, ES_CONNECTFAIL, exchange);
        return;
    }
    CLog::GetInst()->WriteLog(INFO, "%s", kUseTelephoneNumber);
    NetStateChange(ES_CONNECTING, ES_CONNECTFAIL, StateCode::kAccountNotTelephone, "");
}

int CPortalConn::TakeLogin(const CHttpData& answer) {
    // What the portal pushed in an earlier session is not known any more.
    if (!ReadLogin(answer, "")) {
        NetStateChange(ES_CONNECTING, ES_CONNECTFAIL, StateCode::kLoginUnreadable, "");
        return PortalResult::kFailure;
    }
    const int pushed = SetDNS(m_pPortalConf->m_strDNS);
    if (pushed == EACCES) {
        NetStateChange(ES_CONNECTING, ES_CONNECTFAIL, StateCode::kDnsNotApplied, "");
        return PortalResult::kFailure;
    }
    if (pushed == CPushedServers::kNoServer) {
        m_pushedServers.GiveBack();  // of a session that ended without a log-out
    }
    // A new login is forgiven one failed pulse more than a standing one.
    m_keepRetry = std::min(m_pPortalConf->iKeepRetry, kMostRetries) + 1;
    m_ConnnectType = kPortalConnection;
    NetStateChange(ES_CONNECTING, ES_CONNECTED, StateCode::kSuccess, "");
    m_host.GetInfoCenter()->SyncLocalValue();
    return PortalResult::kSuccess;
}

// Reads an answer of the login or of the state check. What it does not name keeps its present value, and the
// text about DNS servers the value that is handed in.
bool CPortalConn::ReadLogin(const CHttpData& answer, CAutoString dns) {
    const CAuthConfig& record = *m_pPortalConf;
    CAutoString userName = record.userName;
    int keepRetry = record.iKeepRetry;
    CAutoString keepUrl = record.strKeepUrl;
    CAutoString termUrl = record.strTermUrl;
    CAutoString againstList = record.againstList;
    if (m_portalParse.ParserAuthResponse(answer.RespData(), userName, keepRetry, keepUrl, termUrl,
                                         againstList, dns) != 0) {
        return false;
    }
    SaveAuthResponse(userName, keepRetry, keepUrl, termUrl, againstList, dns);
    return true;
}

void CPortalConn::SaveAuthResponse(CAutoString& userName, int& keepRetry, CAutoString& keepUrl,
                                   CAutoString& termUrl, CAutoString& againstList, const CAutoString& dns) {
    CAuthConfig& record = *m_pPortalConf;
    record.userName = userName;
    record.strKeepUrl = keepUrl;
    record.strTermUrl = termUrl;
    record.iKeepRetry = keepRetry;
    record.againstList = againstList;
    record.checkWifiInterval = ToSeconds(m_portalParse.GetCheckWifiShareTime(againstList));
    record.logoutDelay = ToSeconds(m_portalParse.GetCheckWifiLogoutTime(againstList));
    record.m_strDNS = dns;

    CInfoCenter& settings = *m_host.GetInfoCenter();
    SaveRecord(settings, record, RecordGroup::kLogin);
    record.againstList.Replace("\r\n", "");
    settings.SetValue("againstList", record.againstList);
    CAutoString dialled;
    dialled.Format(kValueFormat, PublishedValue::kAccount, ElementText(userName).GetBuffer());
    m_host.PostMsg(kPortalBusiness, ClientReport::kValue, dialled);
}

int CPortalConn::SetDNS(CAutoString& xml) {
    CMarkup markup;
    if (!markup.SetDoc(xml) || !markup.FindElem(PortalElement::kDomainConfig)) {
        return CPushedServers::kNoServer;
    }
    CAutoString dns1;
    CAutoString dns2;
    ReadChildText(markup, "dns1", dns1);
    ReadChildText(markup, "dns2", dns2);
    return m_pushedServers.Push(dns1, dns2);
}

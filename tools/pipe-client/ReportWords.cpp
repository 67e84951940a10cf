#include "ReportWords.h"

#include "ClientOperations.h"
#include "PortalCodes.h"

namespace {

struct StateWord {
    INetConn::ESTATE state;
    const char* name;
};
constexpr StateWord kStateWords[] = {
    {INetConn::ES_NONE, "none"},
    {INetConn::ES_CONNECTING, "connecting"},
    {INetConn::ES_CONNECTED, "connected"},
    {INetConn::ES_CONNECTFAIL, "connectfail"},
    {INetConn::ES_DISCONNECTING, "disconnecting"},
    {INetConn::ES_DISCONNECTED, "disconnected"},
    {INetConn::ES_DISCONNECTFAIL, "disconnectfail"},
    {INetConn::ES_PREDISCONNECTED, "predisconnected"},
    {INetConn::ES_CANCELING, "canceling"},
    {INetConn::ES_CANCELED, "canceled"},
    {INetConn::ES_PRECONNECTED, "preconnected"},
    {INetConn::ES_PRECONNECTFAIL, "preconnectfail"},
    {INetConn::ES_PRECONNECTING, "preconnecting"},
};

// Codes that mean more than one thing are explained by the state that they come with.
struct CodeWord {
    int code;
    const char* meaning;
};
constexpr CodeWord kCodeWords[] = {
    {StateCode::kSuccess, "done"},
    {StateCode::kCheckStarted, "looking at the network"},
    {StateCode::kAddressesKnown, "addresses known"},
    {StateCode::kTicketRequested, "asking for a ticket"},
    {StateCode::kAlgorithmUpdateStarted, "fetching a new algorithm module"},
    {StateCode::kAlgorithmUpdated, "algorithm module replaced"},
    {StateCode::kRecordedLogoutStarted, "logging out what an earlier run left"},
    {StateCode::kLoginUnreadable, "the answer to the login cannot be read"},
    {StateCode::kConfigUnreadable, "the portal's configuration cannot be read"},
    {StateCode::kTicketUnreadable, "the ticket cannot be read or the algorithm module cannot be replaced"},
    {StateCode::kServerErrorRecovering, "the portal's server failed, trying to go on"},
    {StateCode::kRequestRedirected, "something else than the portal answered"},
    {StateCode::kProbeFailed, "the network check got no answer"},
    {StateCode::kLoginExchangeFailed, "the login request failed"},
    {StateCode::kTicketExchangeFailed, "the ticket request failed"},
    {StateCode::kTicketBodyEmpty, "no ticket request could be made"},
    {StateCode::kAddressesUnavailable, "the adapter has no address"},
    {StateCode::kKeepAliveFailed, "the keep-alive failed"},
    {StateCode::kDnsNotApplied, "the name servers could not be written"},
    {StateCode::kAccountRefusedWithLastLogin, "logged in elsewhere"},
    {StateCode::kAccountNotTelephone, "the account is no telephone number"},
    {StateCode::kNoTicketUrl, "no address to ask for a ticket"},
    {StateCode::kLoginGone, "the login is gone"},
    {StateCode::kNoAdapter, "no network adapter"},
    {StateCode::kNoProbeUrl, "no address for the network check"},
    {StateCode::kServerErrorFinal, "the portal's server failed"},
    {StateCode::kDiscoveryFailed, "no portal found"},
};

constexpr int kPortalErrors = 1000;  // the portal's own codes above StateCode::kPortalErrorBase

std::string StateName(int state) {
    for (const StateWord& word : kStateWords) {
        if (word.state == state) {
            return word.name;
        }
    }
    return std::to_string(state);
}

std::string DescribeCode(int code) {
    std::string number = std::to_string(code);
    for (const CodeWord& word : kCodeWords) {
        if (word.code == code) {
            return number + " (" + word.meaning + ")";
        }
    }
    const int portalError = code - StateCode::kPortalErrorBase;
    if (portalError > 0 && portalError < kPortalErrors) {
        return number + " (refused by the portal with code " + std::to_string(portalError) + ")";
    }
    return number;
}

}  // namespace

std::string DescribeReport(const Report& report) {
    if (!report.IsState()) {
        return report.text;
    }
    std::string words = StateName(report.oldState) + " -> " + StateName(report.newState) + ", code " +
                        DescribeCode(report.errorCode);
    for (const char* detail : {"subErrCode", "subType", "extern"}) {
        const std::string text = report.Parameter(detail);
        if (!text.empty()) {
            words.append(", ").append(detail).append(" ").append(text);
        }
    }
    return words;
}

std::optional<INetConn::ESTATE> StateByName(const std::string& name) {
    for (const StateWord& word : kStateWords) {
        if (name == word.name) {
            return word.state;
        }
    }
    return std::nullopt;
}

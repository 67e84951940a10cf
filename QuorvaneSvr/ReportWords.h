#pragma once

#include <string>

#include "INetConn.h"
#include "PortalCodes.h"

// What a person is told of the numbers in a state report: one table of states and one of codes for every
// front end, which needs nothing of the service but its states and codes. docs/codes.md lists the same rows
// with the same words; ReportWords.StandInTheDocument holds them together.

// A number of a report, a name for programs (lower case, without blanks, lasting) and the words for people.
struct ReportWord {
    int number;
    const char* name;
    const char* words;
};

// In the order of the document. Those from "predisconnected" on are never reported.
inline constexpr ReportWord kStateWords[] = {
    {INetConn::ES_NONE, "none", "none yet"},
    {INetConn::ES_PRECONNECTING, "preconnecting", "getting ready"},
    {INetConn::ES_PRECONNECTED, "preconnected", "ready for a login"},
    {INetConn::ES_PRECONNECTFAIL, "preconnectfail", "getting ready failed"},
    {INetConn::ES_CONNECTING, "connecting", "logging in"},
    {INetConn::ES_CONNECTED, "connected", "connected"},
    {INetConn::ES_CONNECTFAIL, "connectfail", "login failed"},
    {INetConn::ES_DISCONNECTING, "disconnecting", "logging out"},
    {INetConn::ES_DISCONNECTED, "disconnected", "logged out"},
    {INetConn::ES_DISCONNECTFAIL, "disconnectfail", "log-out failed"},
    {INetConn::ES_PREDISCONNECTED, "predisconnected", "about to log out"},
    {INetConn::ES_CANCELING, "canceling", "being called off"},
    {INetConn::ES_CANCELED, "canceled", "called off"},
};

// Codes that mean more than one thing are explained by the state that they come with.
inline constexpr ReportWord kCodeWords[] = {
    {StateCode::kTicketObtained, "ok", "no fault"},
    {StateCode::kSuccess, "done", "done"},
    {PortalError::kLoginEnded, "login-ended", "the portal ended the login during a pulse"},
    {StateCode::kCheckStarted, "checking", "looking at the network"},
    {StateCode::kAddressesKnown, "addresses-known", "addresses known, sending the ticket request"},
    {StateCode::kTicketRequested, "ticket-begun", "asking for a ticket"},
    {StateCode::kAlgorithmUpdateStarted, "module-begun", "taking over a new algorithm module"},
    {StateCode::kAlgorithmUpdated, "module-stored", "the new algorithm module is stored"},
    {StateCode::kRecordedLogoutStarted, "earlier-logout", "logging out what an earlier run left"},
    {StateCode::kPortalErrorBase + PortalError::kMissing, "no-error-code",
     "the portal's answer carried no error code"},
    {StateCode::kPortalErrorBase + PortalError::kVersionLimit, "version-refused",
     "the portal does not admit this version of the client"},
    {StateCode::kPortalErrorBase + PortalError::kAccountRefused, "account-refused",
     "wrong account or password"},
    {StateCode::kLoginUnreadable, "login-unreadable", "the answer to the login cannot be read"},
    {StateCode::kConfigUnreadable, "config-unreadable", "the portal's configuration cannot be read"},
    {StateCode::kTicketUnreadable, "ticket-unreadable",
     "the ticket answer cannot be read, or a new algorithm module failed twice"},
    {StateCode::kServerErrorRecovering, "server-error-recovering",
     "the portal's server failed, trying to go on"},
    {StateCode::kIntercepted, "intercepted",
     "something else than the portal answered: a redirect or a foreign page"},
    {StateCode::kProbeFailed, "probe-failed", "the network check failed in transport"},
    {StateCode::kLoginExchangeFailed, "login-exchange-failed", "the login failed in transport"},
    {StateCode::kTicketExchangeFailed, "ticket-exchange-failed", "the ticket request failed in transport"},
    {StateCode::kLogoutExchangeFailed, "logout-exchange-failed", "the log-out failed in transport"},
    {StateCode::kTicketBodyEmpty, "ticket-not-built", "the ticket request could not be built"},
    {StateCode::kAddressesUnavailable, "no-address", "the adapter has no usable address"},
    {StateCode::kKeepAliveFailed, "login-lost",
     "the login is lost: a pulse was intercepted or failed too often"},
    {StateCode::kDnsNotApplied, "resolver-not-written",
     "the pushed name servers could not be written: no right to change the resolver file"},
    {StateCode::kAccountRefusedWithLastLogin, "refused-with-note",
     "account or password refused, with the portal's note on the last login"},
    {StateCode::kAccountNotTelephone, "no-mobile-number",
     "account or password refused, and the account is not a mobile number as the portal expects"},
    {StateCode::kNoTicketUrl, "no-ticket-address", "the portal's configuration names no address for tickets"},
    {StateCode::kLoginUnknown, "login-unknown", "the portal no longer knows this login"},
    {StateCode::kNoAdapter, "no-adapter", "no network adapter with a default route"},
    {StateCode::kNoProbeUrl, "no-probe-address", "no address to check the network with"},
    {StateCode::kServerErrorFinal, "server-error", "the portal's server failed"},
    {StateCode::kDiscoveryFailed, "check-failed", "the network check failed"},
};

// Null when there is no such state.
const ReportWord* FindState(int state);
const ReportWord* FindState(const std::string& name);

// Name and words of a code. The portal's errors without a row have the name "portal-error" and their own
// number in the words. Empty for a code that means nothing.
std::string CodeName(int code);
std::string CodeWords(int code);

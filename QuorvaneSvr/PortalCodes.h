#pragma once

#include <cstdint>

// The numbers and texts that the portal, the front end and the service agree on, named once.

// Codes of the state reports. The words for each stand in ReportWords.h and docs/codes.md.
namespace StateCode {
// Progress and success.
constexpr int kTicketObtained = 0;
constexpr int kLoggingIn = 0;
constexpr int kSuccess = 1;
constexpr int kCheckStarted = 30000101;
constexpr int kAddressesKnown = 30000102;
constexpr int kTicketRequested = 30000103;
constexpr int kAlgorithmUpdateStarted = 30000104;
constexpr int kAlgorithmUpdated = 30000105;
constexpr int kRecordedLogoutStarted = 30000106;
// Refused by the portal: the base plus its "Error-Code".
constexpr int kPortalErrorBase = 140000;
// Failures of an exchange with the portal.
constexpr int kLoginUnreadable = 150001;
constexpr int kConfigUnreadable = 150002;
constexpr int kTicketUnreadable = 150003;
constexpr int kAlgorithmUpdateFailed = 150003;
constexpr int kServerErrorRecovering = 150009;
constexpr int kIntercepted = 150010;
constexpr int kProbeFailed = 150101;
constexpr int kLoginExchangeFailed = 150102;
constexpr int kTicketExchangeFailed = 150103;
constexpr int kLogoutExchangeFailed = 150105;  // of the link, but no report carries it
constexpr int kTicketBodyEmpty = 150106;
constexpr int kAddressesUnavailable = 150107;
constexpr int kKeepAliveFailed = 150108;
constexpr int kDnsNotApplied = 150110;
constexpr int kAccountRefusedWithLastLogin = 150200;
constexpr int kAccountNotTelephone = 150201;
// Failures before the portal was reached, or a login that it does not know.
constexpr int kNoTicketUrl = 20010003;
constexpr int kLoginUnknown = 20010004;
constexpr int kNoAdapter = 20010204;
constexpr int kNoProbeUrl = 20010205;
constexpr int kServerErrorFinal = 20010206;
constexpr int kDiscoveryFailed = 20010207;
}  // namespace StateCode

// Values of the portal's "Error-Code" header that the service reacts to.
namespace PortalError {
constexpr int kMissing = -1;  // the answer has no such header
constexpr int kNone = 0;
constexpr int kVersionLimit = 3;       // this version of the client is not admitted
constexpr int kAlreadyLoggedOut = 13;  // to a log-out, which has nothing left to do
constexpr int kLoginEnded = 14;        // the portal does not know the login any more
constexpr int kAccountRefused = 105;   // wrong account or password, or an account of another form
constexpr int kNewAlgorithm = 200;     // the body is a new algorithm module
constexpr int kStateUndecided = 300;   // to a state check: this and the next say nothing about the login
constexpr int kStateUndecidedToo = 301;
}  // namespace PortalError

// Why a login ends. The number goes to the portal in the log-out request; a front end sends its own
// (kReasonPath).
namespace LogoutReason {
inline constexpr char kUser[] = "1";   // the user wants to
inline constexpr char kFinal[] = "2";  // after this and kShutdown no ticket for a next login is requested
inline constexpr char kKeepAliveFailed[] = "3";  // more pulses failed than the portal tolerates
inline constexpr char kIntercepted[] = "4";      // something else than the portal answered a pulse
inline constexpr char kRecordedLogin[] = "5";    // an earlier run left it standing
inline constexpr char kSharing[] = "6";          // the connection is shared, which the portal forbids
inline constexpr char kShutdown[] = "7";         // the service ends
inline constexpr char kOtherTerminal[] = "8";    // the user ends that of another terminal
}  // namespace LogoutReason

// Results of the protocol engine's operations, as the work loop tells them apart.
namespace PortalResult {
enum Value : int {
    kSuccess = 1,       // done
    kNegative = 0,      // not done, but nothing failed: no portal, no decision yet, a tolerated failure
    kRepeat = 2,        // the algorithm module was replaced: do the same step again
    kFailure = -1,      // of the exchange itself
    kRefused = -2,      // reported already: version limit or no new algorithm module
    kPortalError = -3,  // the portal's "Error-Code" tells why
    kIntercepted = -8,  // something else than the portal answered
    kServerError = -9,  // the portal's server failed; PortalConnFailover.cpp tells when
    kLoginEnded = -14,  // the portal does not know the login any more
};
}  // namespace PortalResult

// What a ticket request returns beside those.
namespace TicketResult {
enum Value : int {
    kNoAddress = -3,       // the adapter has no address
    kNoBody = -5,          // the request could not be built
    kUnreadable = -7,      // the answer does not parse
    kServerChanged = -99,  // another server of the cluster was chosen: start over
};
}  // namespace TicketResult

// Time limits of the requests. libcurl takes them as seconds, which makes them about three and four hours: a
// request ends with the connection, not with its time limit. Shorter limits would cut off slow portals.
namespace RequestTimeOut {
constexpr uint64_t kStandard = 10000;
constexpr uint64_t kLogin = 15000;
constexpr uint64_t kTerminal = 15000;
}  // namespace RequestTimeOut

// Bytes of a page or document: real ones have some KiB. Only an answer that brings a module may be larger.
constexpr uint64_t kLargestPage = 4 * 1024 * 1024;

// Bytes of a note that the portal puts into a header. Real ones are a number or a line; a report with one
// fits the link to the front ends, also when each of its characters is written as an entity.
constexpr int kLongestNote = 4 * 1024;

// Form of the local time in the requests, and of the times in the statistics reports.
inline constexpr char kPortalTimeFormat[] = "%Y-%m-%d %H:%M:%S";

// Attempts at one request as long as the connection fails.
constexpr int kRequestAttempts = 2;

// Pause after each report of a step before the login, or of its failure.
constexpr unsigned kReportRestMs = 500;

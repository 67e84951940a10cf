#pragma once

// The words of the messages between the portal business and its front ends, named once.

// Name of the portal business; target of everything that front ends and business send each other.
constexpr char kPortalBusiness[] = "Portal";

// Target of published values: the store of the front end.
constexpr char kValueStore[] = "InfoCenter";

// What a front end asks for.
namespace ClientOperation {
constexpr char kStart[] = "ClientStart";
constexpr char kCheckEnvironment[] = "CheckEnv";
constexpr char kConnect[] = "PortalConnect";  // carries the password: never logged, never printed
constexpr char kDisconnect[] = "PortalDisConnect";
constexpr char kTerminalData[] = "GetTerminalData";
constexpr char kTerminalTerm[] = "TerminalTermSend";
}  // namespace ClientOperation

// What it is told.
namespace ClientReport {
constexpr char kStartComplete[] = "ClientStartComplete";
constexpr char kNetState[] = "NetStateMessageResp";
constexpr char kTerminalData[] = "SetTerminalData";
constexpr char kTerminalTerm[] = "TerminalTermReturn";
constexpr char kTicket[] = "TicketResp";
constexpr char kValue[] = "SetValue";
}  // namespace ClientReport

// Fields of a state report.
constexpr char kOldStatePath[] = "P.oldState";
constexpr char kNewStatePath[] = "P.newState";
constexpr char kErrorCodePath[] = "P.ErrorCode";
constexpr char kSubErrorCodePath[] = "P.subErrCode";
constexpr char kSubErrorCodeElement[] = "subErrCode";

// A published value, and the names of those that somebody looks for.
constexpr char kValueFormat[] = "<key>%s</key><value>%s</value>";
namespace PublishedValue {
inline constexpr char kKeyElement[] = "key";
inline constexpr char kValueElement[] = "value";
inline constexpr char kAccount[] = "DialAccount";
inline constexpr char kSchoolId[] = "schoolId";
inline constexpr char kDomain[] = "domain";
inline constexpr char kArea[] = "area";
inline constexpr char kFunctionPrefix[] = "FUN_";        // of each function setting of the portal
inline constexpr char kStatistics[] = "FUN_StatsInfor";  // published when the portal asks for statistics
}  // namespace PublishedValue

// Parameters of the operations: where an envelope holds them, and how a front end writes them. Texts go in as
// they stand.
constexpr char kUserPath[] = "P.user";  // of a login
constexpr char kPasswordPath[] = "P.password";
constexpr char kLoginFormat[] = "<user>%s</user><password>%s</password>";
constexpr char kReasonPath[] = "P.src";  // of a log-out
constexpr char kReasonFormat[] = "<src>%s</src>";
constexpr char kTicketPath[] = "P.ticket";  // of the other terminal
constexpr char kTicketFormat[] = "<ticket>%s</ticket>";

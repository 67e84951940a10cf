#pragma once

// The words between the agent and its clients: operations, fields, errors and exit statuses, named once.

// What a client asks for, in the field "op".
namespace AgentOp {
constexpr char kStatus[] = "status";
constexpr char kWatch[] = "watch";
constexpr char kLogin[] = "login";
constexpr char kLogout[] = "logout";
constexpr char kCheck[] = "check";
constexpr char kTerminals[] = "terminals";
constexpr char kTerminalLogout[] = "terminal-logout";
constexpr char kSend[] = "send";
constexpr char kHistory[] = "history";
}  // namespace AgentOp

// Names of fields, of requests and of answers.
namespace AgentField {
// Requests.
constexpr char kOp[] = "op";
constexpr char kTimeout[] = "timeout";  // seconds
constexpr char kAccount[] = "account";
constexpr char kPassword[] = "password";
constexpr char kTicket[] = "ticket";
constexpr char kOpcode[] = "opcode";
constexpr char kParameters[] = "parameters";
constexpr char kSince[] = "since";  // of a request seconds, of the status a time
// Answers.
constexpr char kOk[] = "ok";
constexpr char kError[] = "error";
constexpr char kMessage[] = "message";
constexpr char kStatusNumber[] = "status";
constexpr char kTerminals[] = "terminals";
constexpr char kHistory[] = "history";
// Status.
constexpr char kState[] = "state";
constexpr char kAccountFile[] = "account_file";
constexpr char kWanted[] = "wanted";
constexpr char kAttempts[] = "attempts";
constexpr char kNextTry[] = "next_try";
constexpr char kLast[] = "last";
constexpr char kCode[] = "code";
constexpr char kSubCode[] = "sub_code";
constexpr char kText[] = "text";
constexpr char kNetwork[] = "network";
constexpr char kInterface[] = "interface";
constexpr char kAddress[] = "address";
constexpr char kGateway[] = "gateway";
constexpr char kPortal[] = "portal";
constexpr char kSchoolId[] = "school_id";
constexpr char kDomain[] = "domain";
constexpr char kArea[] = "area";
constexpr char kService[] = "service";
constexpr char kPid[] = "pid";
constexpr char kFolder[] = "folder";
constexpr char kInterruptions[] = "interruptions_24h";
constexpr char kOnlineShare[] = "online_24h";  // 0 to 1
// Events and history.
constexpr char kEvent[] = "event";
constexpr char kTarget[] = "target";
constexpr char kKey[] = "key";
constexpr char kValue[] = "value";
constexpr char kTime[] = "time";
}  // namespace AgentField

namespace AgentEvent {
constexpr char kState[] = "state";
constexpr char kReport[] = "report";
constexpr char kValue[] = "value";
}  // namespace AgentEvent

// How a request or a command ends: the exit status of quorvane-ctl, and in an answer the number beside the
// word.
enum class ExitStatus {
    kDone = 0,  // or online
    kFailed = 1,
    kUsage = 2,
    kTimeout = 3,
    kNotLoggedIn = 4,
    kRefused = 5,
    kNoPortal = 6,
    kNoService = 7,
    kDenied = 8,
};

// Why a request failed: the word for programs and the status that goes with it.
struct AgentError {
    const char* word;
    ExitStatus status;
};
namespace AgentErrors {
constexpr AgentError kFailed = {"failed", ExitStatus::kFailed};
constexpr AgentError kBusy = {"busy", ExitStatus::kFailed};           // too many clients
constexpr AgentError kNoLogout = {"no-logout", ExitStatus::kFailed};  // the service cannot log out on request
constexpr AgentError kBadRequest = {"bad-request", ExitStatus::kUsage};
constexpr AgentError kTimeout = {"timeout", ExitStatus::kTimeout};
constexpr AgentError kNotLoggedIn = {"not-logged-in", ExitStatus::kNotLoggedIn};
constexpr AgentError kRefused = {"refused", ExitStatus::kRefused};
constexpr AgentError kNoPortal = {"no-portal", ExitStatus::kNoPortal};
constexpr AgentError kNoService = {"no-service", ExitStatus::kNoService};
constexpr AgentError kDenied = {"denied", ExitStatus::kDenied};
}  // namespace AgentErrors

// A request line has at most so many bytes, the line feed not counted.
constexpr unsigned kLongestRequest = 64 * 1024;
constexpr unsigned kDefaultTimeoutSeconds = 30;

// Where agent and command look for each other without an option.
constexpr char kSocketName[] = "agent.sock";
constexpr char kSystemSocket[] = "/run/quorvane/agent.sock";
constexpr char kSystemFolder[] = "/var/lib/quorvane";
constexpr char kSystemAccountFile[] = "/etc/quorvane/account";
constexpr char kSystemCredentials[] =
    "/run/credentials/";  // where systemd puts copies of files such as this one

#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace portal_sim {

// What can be asked of the portal. Probe, Entry and Gate are the three redirects that lead to Page.
enum class Endpoint { Probe, Entry, Gate, Page, Ticket, Login, State, Pulse, Term, Query, Statistics };

// The path of each endpoint, and its name in scenario lines and in the output.
struct EndpointRow {
    Endpoint endpoint;
    const char* path;
    const char* name;
};
constexpr EndpointRow kEndpoints[] = {
    {Endpoint::Probe, "/forward.cgi", "probe"},
    {Endpoint::Entry, "/entry", "entry"},
    {Endpoint::Gate, "/gate", "gate"},
    {Endpoint::Page, "/index.cgi", "page"},
    {Endpoint::Ticket, "/ticket", "ticket"},
    {Endpoint::Login, "/auth", "login"},
    {Endpoint::State, "/state", "state"},
    {Endpoint::Pulse, "/keep", "pulse"},
    {Endpoint::Term, "/term", "term"},
    {Endpoint::Query, "/query", "query"},
    {Endpoint::Statistics, "/statistics", "statistics"},
};
const EndpointRow& RowOf(Endpoint endpoint);

// The "Error-Code" values that the portal answers with.
constexpr int kErrorNone = 0;
constexpr int kErrorNoSession = 13;   // log-out of a login that does not exist
constexpr int kErrorLoginGone = 14;   // the login has ended
constexpr int kErrorBadRequest = 99;  // the request breaks the protocol; a complaint was recorded
constexpr int kErrorWrongPassword = 105;
constexpr int kErrorNewModule = 200;    // the body is the container of the module to use from now on
constexpr int kErrorNotLoggedIn = 300;  // the answer to a state request before the login

// One answer out of a script, given instead of what the portal would answer by itself. What the request means
// to the portal does not happen then: a scripted answer gives out no ticket and begins or ends no login,
// unless its kind is Usual or TicketAt.
struct Answer {
    enum class Kind {
        Usual,     // what the portal answers by itself; useful with a delay or further headers
        Error,     // "Error-Code" `code`, any number, and an empty body
        Module,    // "Error-Code" 200 and the container `text` as it stands, well formed or not
        Garbage,   // "Error-Code" 0 and a body that does not decode
        Drop,      // the connection ends within the body
        Status,    // the HTTP status `code`, without the portal's headers
        Redirect,  // status 302 to the probe, without the portal's headers: somebody intercepts the link
        Page,      // an ordinary page with status 200, without the portal's headers
        TicketAt,  // for Endpoint::Page: the usual page, its ticket-url on the server `text` (host:port)
    };
    Kind kind = Kind::Usual;
    int code = 0;      // of Error and Status
    std::string text;  // of Module and TicketAt
    // Sent besides the usual ones, or in the place of one with that name: "Sub-Error" for example.
    std::map<std::string, std::string> headers;
    // Waited when the request has been judged and recorded. Other requests are answered meanwhile.
    std::chrono::milliseconds delay{0};

    static Answer Error(int code, std::map<std::string, std::string> headers = {});
    static Answer Module(std::string container);
    static Answer Status(int status);
    static Answer TicketAt(std::string server);
};

// A way to log in that the configuration offers.
struct LoginType {
    std::string type;        // as clients know it, "jvn-http-pap" for a password
    bool isDefault = false;  // several may be, or none
};

// Another device of the same account.
struct Terminal {
    std::string host;    // the name that is shown for it
    std::string ticket;  // a log-out request that names it takes the terminal off the list
};

// How the portal behaves and whom it serves. The defaults make a portal that accepts one account by its
// password and asks for nothing special.
//
// Plain data without a lock: it belongs to the thread that fills it in until a PortalSim has its copy. That
// copy is changed through PortalSim::Change and read when a request is answered, so a change counts from the
// next request on; tickets and standing logins stay. The portal itself takes off only what is used up: an
// answer of `script`, and a terminal that is logged out.
//
// Texts go into headers and documents as they are, the latter escaped; they are UTF-8. Numbers are not
// judged, 0 and huge ones travel too, and the portal does not keep to any time by itself: no ticket or login
// expires.
struct Scenario {
    // Whose login is accepted, from any number of clients, compared byte by byte with what each sends. Every
    // other one gets "Error-Code" 105 with these headers, "Sub-Error" and "Last-Login" on a real portal.
    std::string account = "13800000001";
    std::string password = "secret";
    std::map<std::string, std::string> wrongPasswordHeaders;

    // Discovery: what the probe and the two hops after it are answered with.
    bool portal = true;            // false: an ordinary page, as on an open network
    bool endlessRedirect = false;  // a redirect to the probe, again and again
    // Headers of the redirects; every portal request has to bring them back, an empty one by its absence.
    std::string schoolId = "1001";
    std::string domain = "campus.example";
    std::string area = "0571";
    // The query of the last redirect. The ones before it name other values, which a client has to forget.
    std::string wlanUserIp = "10.8.0.2";
    std::string wlanUserMac = "02-00-0a-08-00-02";
    std::string wlanAcIp = "10.8.0.1";

    // The configuration document in the portal page.
    std::string markerHost;      // in the two markers around it; empty: the one that the build chose
    unsigned stateInterval = 5;  // seconds between two state requests
    std::string servers;         // of the cluster: addresses with commas between them; empty: no such element
    std::vector<LoginType> loginTypes = {{"jvn-http-pap", true}, {"jvn-mobile-qr", false}};
    std::vector<std::string> registerNotices;  // an element "register" each, in order
    std::vector<std::string> optionNotices;    // an element "option" each
    // What the client does to the account's name: "add-domain" puts the value, or without one the `domain`
    // above, behind its "@"; "del-domain" cuts the name there; empty: nothing.
    std::string accountType;
    std::string accountValue;
    unsigned statisticsInterval = 0;  // seconds between two uploads; 0: the portal asks for none

    // The answers to a ticket, login, pulse and terminal request.
    unsigned ticketSeconds = 600;  // for which the client may use its ticket
    unsigned pulseSeconds = 30;    // until the next pulse
    unsigned pulseLevel = 1;       // clients keep it and do nothing by it
    unsigned pulseRetries = 2;     // failed pulses that a client puts up with
    std::string dns1;              // DNS servers for the login; with both empty nothing is pushed
    std::string dns2;
    std::vector<Terminal> terminals;  // beside the client itself

    // Sharing rules, part of the configuration and of the answer to a login.
    unsigned sharingSeconds = 0;                            // between two checks; 0: no checks
    unsigned sharingLogoutSeconds = 0;                      // from a finding to the log-out
    std::map<std::string, std::string> forbiddenProcesses;  // process name to the name that is shown for it
    bool forbidForwarding = false;                          // whether IP forwarding counts as sharing

    // Answers for the requests to come, each used once, in order. A request that breaks the protocol gets its
    // error and leaves them to the next one.
    std::map<Endpoint, std::deque<Answer>> script;
};

// Applies one line of a scenario file ("pulse-seconds 5"; docs/portal-sim.md lists them) to the scenario; a
// number has at most nine digits. Empty lines and lines that begin with '#' change nothing. False, with the
// reason in `fault`, for a line that is not understood; the scenario is then unchanged.
bool ApplyLine(const std::string& line, Scenario& scenario, std::string& fault);

}  // namespace portal_sim

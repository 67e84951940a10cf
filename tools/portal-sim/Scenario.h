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

// One answer out of a script, given instead of what the portal would answer by itself.
struct Answer {
    enum class Kind {
        Usual,     // what the portal answers by itself; useful with a delay
        Error,     // "Error-Code" `code` and an empty body
        Module,    // "Error-Code" 200 and the module container `text`
        Garbage,   // "Error-Code" 0 and a body that does not decode
        Drop,      // the connection ends within the body
        Status,    // the HTTP status `code`, without the portal's headers
        Redirect,  // status 302, without the portal's headers: somebody intercepts the connection
        Page,      // an ordinary page with status 200, without the portal's headers
        TicketAt,  // for Endpoint::Page: the usual page, its ticket-url on the server `text` (host:port)
    };
    Kind kind = Kind::Usual;
    int code = 0;
    std::string text;
    std::map<std::string, std::string> headers;  // sent besides the usual ones, such as "Sub-Error"
    std::chrono::milliseconds delay{0};          // waited before the answer

    static Answer Error(int code, std::map<std::string, std::string> headers = {});
    static Answer Module(std::string container);
    static Answer Status(int status);
    static Answer TicketAt(std::string server);
};

// A way to log in that the configuration offers.
struct LoginType {
    std::string type;
    bool isDefault = false;
};

// Another device of the same account, listed in the terminal data and open to a log-out by its ticket.
struct Terminal {
    std::string host;
    std::string ticket;
};

// How the portal behaves and whom it serves. Plain data; the defaults make a portal that accepts one account
// and asks for nothing special.
struct Scenario {
    std::string account = "13800000001";
    std::string password = "secret";
    std::map<std::string, std::string> wrongPasswordHeaders;  // go with "Error-Code" 105

    // Discovery.
    bool portal = true;            // false: an open network, the probe gets an ordinary page
    bool endlessRedirect = false;  // the probe is redirected to itself
    // Sent as response headers, and expected back in every portal request; empty ones are not sent.
    std::string schoolId = "1001";
    std::string domain = "campus.example";
    std::string area = "0571";
    std::string wlanUserIp = "10.8.0.2";
    std::string wlanUserMac = "02-00-0a-08-00-02";
    std::string wlanAcIp = "10.8.0.1";

    // The configuration document.
    unsigned stateInterval = 5;  // seconds
    std::string servers;         // comma-separated; empty: no list
    std::vector<LoginType> loginTypes = {{"jvn-http-pap", true}, {"jvn-mobile-qr", false}};
    std::vector<std::string> registerNotices;
    std::vector<std::string> optionNotices;
    std::string accountType;  // "add-domain", "del-domain" or empty
    std::string accountValue;
    unsigned statisticsInterval = 0;  // seconds between uploads; 0: the portal asks for none

    // Answers.
    unsigned ticketSeconds = 600;
    unsigned pulseSeconds = 30;
    unsigned pulseLevel = 1;
    unsigned pulseRetries = 2;
    std::string dns1;
    std::string dns2;
    std::vector<Terminal> terminals;

    // Sharing rules, part of the configuration and of the login answer.
    unsigned sharingSeconds = 0;  // between two checks; 0: no checks
    unsigned sharingLogoutSeconds = 0;
    std::map<std::string, std::string> forbiddenProcesses;  // process name to display name
    bool forbidForwarding = false;

    std::map<Endpoint, std::deque<Answer>> script;  // each answer is used once, in order
};

// Applies one line of a scenario file ("pulse-seconds 5"; docs/portal-sim.md lists them) to the scenario.
// Empty lines and lines that begin with '#' change nothing. False, with the reason in `fault`, for a
// line that is not understood; the scenario is then unchanged.
bool ApplyLine(const std::string& line, Scenario& scenario, std::string& fault);

}  // namespace portal_sim

#include "PortalSim.h"

#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "Documents.h"
#include "RequestLine.h"
#include "SampleTransform.h"

namespace fs = std::filesystem;

namespace portal_sim {
namespace {

constexpr char kServerTag[] = "portal-sim";
constexpr char kHtml[] = "text/html";

// Seen from the program: installed, or in the folder of the build. Either may be moved as a whole.
constexpr const char* kFirstModules[] = {PORTAL_SIM_PATH_TO_MODULES "/sample-1.zxm",
                                         "../modules/sample-1.zxm"};

// What a client without a module is given. Empty, which no client takes, when there is none.
std::string FirstModule() {
    std::error_code noProc;
    const fs::path folder = fs::read_symlink("/proc/self/exe", noProc).parent_path();
    for (const char* path : kFirstModules) {
        std::ifstream file(folder / path, std::ios::binary);
        if (file) {
            return {std::istreambuf_iterator<char>(file), {}};
        }
    }
    return {};
}

}  // namespace

// What goes back to the client, and the word for it in the record.
struct PortalSim::Reply {
    int status = 200;
    std::map<std::string, std::string> headers;
    std::string body;
    bool html = false;
    bool drop = false;
    std::string outcome = "ok";

    static Reply Html(std::string page, std::string outcome) {
        Reply reply;
        reply.body = std::move(page);
        reply.html = true;
        reply.outcome = std::move(outcome);
        return reply;
    }
    static Reply Redirect(const std::string& url) {
        Reply reply;
        reply.status = 302;
        reply.headers["Location"] = url;
        reply.outcome = "redirect";
        return reply;
    }
    // The portal's own answers always carry both headers; that is how a client knows them.
    static Reply Portal(int errorCode, std::string body = "") {
        Reply reply;
        reply.headers["Error-Code"] = std::to_string(errorCode);
        reply.headers["Server-Tag"] = kServerTag;
        reply.body = std::move(body);
        reply.outcome = errorCode == kErrorNone ? "ok" : "error " + std::to_string(errorCode);
        return reply;
    }
};

PortalSim::PortalSim(Scenario scenario, LineSink sink)
    : m_sink(std::move(sink)), m_scenario(std::move(scenario)) {}

PortalSim::~PortalSim() {
    Stop();
}

bool PortalSim::Start(const std::string& host, int port) {
    Stop();
    m_server = std::make_unique<httplib::Server>();
    Route();
    const int bound =
        port != 0 ? (m_server->bind_to_port(host, port) ? port : -1) : m_server->bind_to_any_port(host);
    if (bound < 0) {
        m_server.reset();
        return false;
    }
    m_host = host.find(':') == std::string::npos ? host : "[" + host + "]";
    m_port = bound;
    m_thread = std::thread([this] { m_server->listen_after_bind(); });
    while (!m_server->is_running()) {  // the port is open already; only stop() needs the loop to run
        std::this_thread::yield();
    }
    return true;
}

void PortalSim::Stop() {
    if (!m_server) {
        return;
    }
    m_server->stop();
    m_thread.join();
    m_server.reset();
}

std::string PortalSim::Server() const {
    return m_host + ":" + std::to_string(m_port);
}

std::string PortalSim::ProbeUrl() const {
    return UrlOf(Server(), Endpoint::Probe);
}

void PortalSim::Change(const std::function<void(Scenario&)>& change) {
    const std::lock_guard<std::mutex> guard(m_lock);
    change(m_scenario);
}

void PortalSim::AnswerNext(Endpoint endpoint, Answer answer) {
    Change([&](Scenario& scenario) { scenario.script[endpoint].push_back(std::move(answer)); });
}

void PortalSim::KnowTicket(const std::string& ticket, bool loggedIn) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_tickets.insert(ticket);
    if (loggedIn) {
        m_logins.KnowEarlier(ticket);
    }
}

std::vector<Request> PortalSim::Matching(Endpoint endpoint) const {
    std::vector<Request> matching;
    std::copy_if(m_requests.begin(), m_requests.end(), std::back_inserter(matching),
                 [endpoint](const Request& request) { return request.endpoint == endpoint; });
    return matching;
}

std::vector<Request> PortalSim::Requests(Endpoint endpoint) const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return Matching(endpoint);
}

std::optional<Request> PortalSim::WaitForRequest(Endpoint endpoint, size_t count,
                                                 std::chrono::milliseconds deadline) const {
    std::unique_lock<std::mutex> guard(m_lock);
    std::vector<Request> matching;
    const bool came = m_arrived.wait_for(guard, deadline, [&] {
        matching = Matching(endpoint);
        return matching.size() >= count;
    });
    return came ? std::optional<Request>(matching[count - 1]) : std::nullopt;
}

std::vector<std::string> PortalSim::Complaints() const {
    const std::lock_guard<std::mutex> guard(m_lock);
    std::vector<std::string> complaints;
    for (const Request& request : m_requests) {
        if (!request.complaint.empty()) {
            complaints.push_back(std::string(RowOf(request.endpoint).name) + ": " + request.complaint);
        }
    }
    return complaints;
}

std::string PortalSim::LoggedInTicket() const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_logins.LatestTicket();
}

void PortalSim::Route() {
    for (const EndpointRow& row : kEndpoints) {
        const Endpoint endpoint = row.endpoint;
        auto handler = [this, endpoint](const httplib::Request& received, httplib::Response& response) {
            Serve(endpoint, received, response);
        };
        if (IsHop(endpoint)) {
            m_server->Get(row.path, handler);
        } else {
            m_server->Post(row.path, handler);
        }
    }
}

void PortalSim::Serve(Endpoint endpoint, const httplib::Request& received, httplib::Response& response) {
    Request request = Read(endpoint, received);
    Reply reply;
    std::chrono::milliseconds delay;
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        Judge(request);
        const Answer answer = TakeAnswer(request);
        delay = answer.delay;
        reply = MakeReply(request, answer);
        request.outcome = reply.outcome;
        Record(std::move(request));
    }
    std::this_thread::sleep_for(delay);
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers) {
        response.set_header(name.c_str(), value);
    }
    if (reply.drop) {
        response.set_content_provider(1, kHtml, [](size_t, size_t, httplib::DataSink&) { return false; });
    } else {
        response.set_content(reply.body, reply.html ? kHtml : "application/octet-stream");
    }
}

Request PortalSim::Read(Endpoint endpoint, const httplib::Request& received) const {
    Request request;
    request.endpoint = endpoint;
    request.arrival = std::chrono::steady_clock::now();
    request.path = received.path;
    request.server = received.get_header_value("Host");
    for (const auto& [name, value] : received.headers) {
        std::string lower;
        for (unsigned char c : name) {
            lower += static_cast<char>(std::tolower(c));
        }
        request.headers.emplace(lower, value);
    }
    request.body = received.body;
    return request;
}

void PortalSim::Judge(Request& request) const {
    if (IsHop(request.endpoint)) {
        CheckProbe(request);
        return;
    }
    if (request.endpoint == Endpoint::Statistics) {
        CheckStatistics(request);
        return;
    }
    Expectations expectations{m_scenario.schoolId, m_scenario.domain, m_scenario.area, m_tickets};
    for (const Terminal& terminal : m_scenario.terminals) {
        expectations.tickets.insert(terminal.ticket);
    }
    CheckPortalRequest(expectations, request);
}

Answer PortalSim::TakeAnswer(const Request& request) {
    if (!request.complaint.empty()) {
        return Answer::Error(kErrorBadRequest);
    }
    std::deque<Answer>& script = m_scenario.script[request.endpoint];
    if (script.empty()) {
        return {};
    }
    Answer answer = std::move(script.front());
    script.pop_front();
    return answer;
}

PortalSim::Reply PortalSim::MakeReply(const Request& request, const Answer& answer) {
    Reply reply;
    switch (answer.kind) {
        case Answer::Kind::Usual:
        case Answer::Kind::TicketAt: reply = UsualReply(request, answer); break;
        case Answer::Kind::Error: reply = Reply::Portal(answer.code); break;
        case Answer::Kind::Module: reply = Reply::Portal(kErrorNewModule, answer.text); break;
        case Answer::Kind::Garbage: reply = Reply::Portal(kErrorNone, "\x01not a document"); break;
        case Answer::Kind::Redirect: reply = Reply::Redirect(UrlOf(request.server, Endpoint::Probe)); break;
        case Answer::Kind::Page: reply = Reply::Html(OrdinaryPage(), "ordinary page"); break;
        case Answer::Kind::Status:
            reply.status = answer.code;
            reply.outcome = "status " + std::to_string(answer.code);
            break;
        case Answer::Kind::Drop:
            reply.drop = true;
            reply.outcome = "dropped";
            break;
    }
    for (const auto& [name, value] : answer.headers) {
        reply.headers[name] = value;
    }
    return reply;
}

PortalSim::Reply PortalSim::UsualReply(const Request& request, const Answer& answer) {
    if (LacksModule(request)) {
        return Reply::Portal(kErrorNewModule, FirstModule());
    }
    switch (request.endpoint) {
        case Endpoint::Page:
            return Reply::Html(
                PortalPage(m_scenario, request.server, answer.text.empty() ? request.server : answer.text),
                "configuration");
        case Endpoint::Ticket: {
            const std::string ticket = "T-" + std::to_string(1000 + m_tickets.size());
            m_tickets.insert(ticket);
            return Encoded(request, TicketDocument(m_scenario, ticket));
        }
        case Endpoint::Login: return LoginReply(request);
        case Endpoint::State:
            return IsLoggedIn(request) ? Encoded(request, LoginDocument(m_scenario, request.server))
                                       : Reply::Portal(kErrorNotLoggedIn);
        case Endpoint::Pulse:
            return IsLoggedIn(request) ? Encoded(request, PulseDocument(m_scenario))
                                       : Reply::Portal(kErrorLoginGone);
        case Endpoint::Term: return TermReply(request);
        case Endpoint::Query: return Encoded(request, TerminalsDocument(m_scenario));
        case Endpoint::Statistics: return Reply::Html("", "ok");
        default: return HopReply(request);
    }
}

bool PortalSim::IsLoggedIn(const Request& request) const {
    return m_logins.Stands(request.Header("client-id"), request.Element("ticket"));
}

// The three redirects, each in another form. What the first two say about the access is not yet the truth.
PortalSim::Reply PortalSim::HopReply(const Request& request) {
    Reply reply;
    const std::string access = "?wlanuserip=" + m_scenario.wlanUserIp +
                               "&wlanusermac=" + m_scenario.wlanUserMac + "&wlanacip=" + m_scenario.wlanAcIp;
    const std::string unknown = "?wlanuserip=0.0.0.0&wlanusermac=none&wlanacip=0.0.0.0";
    if (!m_scenario.portal) {
        return Reply::Html(OrdinaryPage(), "ordinary page");
    }
    if (m_scenario.endlessRedirect) {
        reply = Reply::Redirect(UrlOf(request.server, Endpoint::Probe));
    } else if (request.endpoint == Endpoint::Probe) {
        reply = Reply::Redirect(UrlOf(request.server, Endpoint::Entry) + unknown);
    } else if (request.endpoint == Endpoint::Entry) {
        reply = Reply::Html(MetaRefreshPage(UrlOf(request.server, Endpoint::Gate) + unknown), "meta refresh");
    } else {
        reply = Reply::Html(ScriptRedirectPage(UrlOf(request.server, Endpoint::Page) + access), "script");
    }
    const std::pair<const char*, const std::string&> location[] = {
        {"schoolid", m_scenario.schoolId}, {"domain", m_scenario.domain}, {"area", m_scenario.area}};
    for (const auto& [name, value] : location) {
        if (!value.empty()) {
            reply.headers[name] = value;
        }
    }
    return reply;
}

PortalSim::Reply PortalSim::LoginReply(const Request& request) {
    if (request.Element("userid") != m_scenario.account || request.Element("passwd") != m_scenario.password) {
        Reply reply = Reply::Portal(kErrorWrongPassword);
        reply.headers.insert(m_scenario.wrongPasswordHeaders.begin(), m_scenario.wrongPasswordHeaders.end());
        return reply;
    }
    m_logins.Begin(request.Header("client-id"), request.Element("ticket"));
    return Encoded(request, LoginDocument(m_scenario, request.server));
}

PortalSim::Reply PortalSim::TermReply(const Request& request) {
    const std::string ticket = request.Element("ticket");
    std::vector<Terminal>& terminals = m_scenario.terminals;
    const auto other = std::find_if(terminals.begin(), terminals.end(),
                                    [&](const Terminal& terminal) { return terminal.ticket == ticket; });
    if (other != terminals.end()) {
        terminals.erase(other);
    } else if (!m_logins.End(request.Header("client-id"), ticket)) {
        return Reply::Portal(kErrorNoSession);
    }
    return Encoded(request, TermDocument());
}

PortalSim::Reply PortalSim::Encoded(const Request& request, const std::string& document) const {
    return Reply::Portal(kErrorNone,
                         sample::FindVersion(request.Header("algo-id").c_str())->encode(document));
}

void PortalSim::Record(Request request) {
    if (m_sink) {
        m_sink(LineOf(request));
    }
    m_requests.push_back(std::move(request));
    m_arrived.notify_all();
}

}  // namespace portal_sim

#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "RequestCheck.h"
#include "Scenario.h"
#include "StandingLogins.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace portal_sim {

// A campus portal: the redirects that lead to its page, the page with the configuration, and everything that
// its clients ask of it afterwards, each with a login of its own. It judges each request on its own (nothing
// of the service's parsers, digests or ciphers is used); one that breaks the protocol is recorded with a
// complaint and answered with "Error-Code" 99. Requests are served on threads of its own. Start and Stop
// belong to one thread, which nobody asks for the address meanwhile; every other operation may be called from
// any thread.
class PortalSim {
  public:
    using LineSink = std::function<void(const std::string& line)>;

    // `sink` gets one readable line per request, called on the serving threads, one at a time. The lines hold
    // no password.
    explicit PortalSim(Scenario scenario = {}, LineSink sink = {});
    ~PortalSim();
    PortalSim(const PortalSim&) = delete;
    PortalSim& operator=(const PortalSim&) = delete;

    // Serves on the IPv4 or IPv6 address; port 0 takes a free one. False when the address cannot be
    // taken. After Stop it may be called again; sessions and records are kept.
    bool Start(const std::string& host = "127.0.0.1", int port = 0);
    // Closes the port; connections are refused from then on. Waits for the requests that are being served.
    void Stop();

    int Port() const { return m_port; }
    std::string Server() const;  // "host:port"
    std::string ProbeUrl() const;

    // Changes the scenario between two requests.
    void Change(const std::function<void(Scenario&)>& change);
    // The next request to the endpoint gets this answer; several are given in order.
    void AnswerNext(Endpoint endpoint, Answer answer);
    // Makes a ticket known that was given out by an earlier run, with or without a standing login.
    void KnowTicket(const std::string& ticket, bool loggedIn);

    // All requests to the endpoint, in order of arrival.
    std::vector<Request> Requests(Endpoint endpoint) const;
    // Waits for the `count`-th request to the endpoint and returns it; nothing after the deadline.
    std::optional<Request> WaitForRequest(
        Endpoint endpoint, size_t count = 1,
        std::chrono::milliseconds deadline = std::chrono::seconds(10)) const;
    // The complaints about all requests, each with the endpoint's name in front.
    std::vector<std::string> Complaints() const;

    // The ticket of the login that began last of those that stand; empty when nobody is logged in.
    std::string LoggedInTicket() const;

  private:
    struct Reply;
    void Route();
    void Serve(Endpoint endpoint, const httplib::Request& received, httplib::Response& response);
    Request Read(Endpoint endpoint, const httplib::Request& received) const;
    void Judge(Request& request) const;
    Answer TakeAnswer(const Request& request);
    Reply MakeReply(const Request& request, const Answer& answer);
    Reply UsualReply(const Request& request, const Answer& answer);
    Reply HopReply(const Request& request);
    Reply LoginReply(const Request& request);
    Reply TermReply(const Request& request);
    bool IsLoggedIn(const Request& request) const;
    Reply Encoded(const Request& request, const std::string& document) const;
    void Record(Request request);
    std::vector<Request> Matching(Endpoint endpoint) const;

    std::string m_host;  // as it stands in a URL
    int m_port = 0;
    std::unique_ptr<httplib::Server> m_server;
    std::thread m_thread;
    const LineSink m_sink;

    mutable std::mutex m_lock;  // guards everything below, and keeps the sink's lines apart
    mutable std::condition_variable m_arrived;
    Scenario m_scenario;
    std::set<std::string> m_tickets;  // all that were given out
    StandingLogins m_logins;
    std::vector<Request> m_requests;
};

}  // namespace portal_sim

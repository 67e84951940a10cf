#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "FrontEndMessages.h"
#include "PipeService.h"

// The front end's side of the link: sends operations and receives reports. Belongs to one thread and starts
// none. A service talks to one front end at a time: two would take each other's reports.
class FrontEnd : private CPipeService {
  public:
    using Milliseconds = std::chrono::milliseconds;

    // `folder` is the working folder of the service.
    explicit FrontEnd(const std::string& folder);
    // Leaves the incoming FIFO of the service in place.
    ~FrontEnd() override;

    // Called with every report when it is received.
    void SetListener(std::function<void(const Report&)> listener) { m_listener = std::move(listener); }

    // Waits until the service has opened both FIFOs. False when it has not by then; nothing is left behind
    // where no service works.
    bool Connect(Milliseconds timeOut);
    // False when the service is gone. `parameters` is a piece of XML.
    bool Send(const char* opcode, const std::string& parameters = "");
    // Logs in. The texts may have any characters.
    bool Login(const std::string& account, const std::string& password);
    // Logs out with a reason as a number.
    bool Logout(const std::string& reason);
    // Logs out the terminal that holds `ticket`.
    bool TerminalLogout(const std::string& ticket);

    // The next report, or none when it does not come in time or the service is gone.
    std::optional<Report> Receive(Milliseconds timeOut);
    // Receive reports until one is the wanted one. False when none is that comes in time.
    bool Await(const std::function<bool(const Report&)>& wanted, Milliseconds timeOut);
    bool AwaitOpcode(const char* opcode, Milliseconds timeOut);
    // Receives until the state that was reported last is `state`, which it may be already.
    bool AwaitState(INetConn::ESTATE state, Milliseconds timeOut);

    // Everything received so far.
    const std::vector<Report>& Received() const { return m_received; }
    // Whether the service was found to have closed the link.
    bool IsServiceGone() const { return m_serviceGone; }

  private:
    bool ReadMore(Milliseconds timeOut);
    bool HasState(INetConn::ESTATE state) const;

    const std::string m_fromService;
    const std::string m_toService;
    std::function<void(const Report&)> m_listener;
    std::string m_pending;  // received bytes behind the last whole message
    std::vector<Report> m_received;
    bool m_serviceGone = false;
};

#pragma once

#include <cjson/cJSON.h>
#include <sys/types.h>

#include <chrono>
#include <string>

#include "AgentProtocol.h"
#include "Json.h"
#include "Secret.h"

// Why a step of a command failed. Everything but kDone has a sentence for people.
struct CtlFault {
    ExitStatus status = ExitStatus::kDone;
    std::string text;
    std::string word = {};  // the agent's own for it; empty: the usual one of the status

    bool IsNone() const { return status == ExitStatus::kDone; }
};

// A request as it travels, made of its parts. It may hold a password and leaves no other trace of it.
struct CtlRequest {
    explicit CtlRequest(const char* op) : fields(NewJsonObject()) { AddText(*fields, AgentField::kOp, op); }

    // Without a copy: `text` outlives the request. It ends at a NUL.
    void AddUncopied(const char* name, const Secret& text);
    // Empty when it is longer than the agent takes.
    Secret Line() const;

    JsonOwner fields;
};

constexpr uid_t kNoUser = static_cast<uid_t>(-1);

// One connection to the agent. What comes over it is taken for what it is: bytes of somebody else, bounded in
// length and time. Belongs to one thread.
class AgentClient {
  public:
    using Clock = std::chrono::steady_clock;
    enum class Arrival { kLine, kNothingYet, kClosed, kTooLong };
    // The agent's own answer that time is up is the better one, and needs a moment to arrive.
    static constexpr std::chrono::seconds kGrace{1};

    // Connecting and each request take at most `timeout`, and the answer may arrive so much later.
    explicit AgentClient(std::chrono::seconds timeout, std::chrono::seconds grace = kGrace)
        : m_timeout(timeout), m_grace(grace) {}
    ~AgentClient();
    AgentClient(const AgentClient&) = delete;
    AgentClient& operator=(const AgentClient&) = delete;

    // Connects to the agent at `path`, an empty one stands for the places where an agent is looked for; sends
    // the request with the timeout added, and waits a little longer than that for the answer, for the agent
    // can say what it waited for. kNoService: nobody is there, kDenied: the user may not. An answer that
    // tells a failure is a fault with the agent's status and sentence; `answer` is null when none came. Once
    // for each client.
    CtlFault Ask(const std::string& path, CtlRequest request, JsonOwner& answer);
    // The line that was read last, without its end and as the agent sent it.
    const std::string& Line() const { return m_line; }

    // Who opened the socket for clients; kNoUser when that is not known.
    uid_t AgentUser() const;

    // For whoever watches: readable when Take can bring something new, which does not wait.
    int Descriptor() const { return m_socket; }
    Arrival Take();
    // Parses the line that was taken; null when it is no JSON object.
    JsonOwner Parsed() const;

  private:
    CtlFault Connect(const std::string& path);
    CtlFault ConnectTo(const std::string& path);
    CtlFault Exchange(CtlRequest request, JsonOwner& answer);
    CtlFault Send(const Secret& line) const;
    CtlFault Await(Clock::time_point deadline);

    const std::chrono::seconds m_timeout;
    const std::chrono::seconds m_grace;
    int m_socket = -1;
    std::string m_received;  // what has come behind m_line
    size_t m_searched = 0;   // bytes at its start that hold no line feed
    bool m_isClosed = false;
    std::string m_line;
};

// What an agent that need not be there tells of itself.
struct StatusFound {
    JsonOwner status;  // null when none tells it within two seconds
    uid_t agentUser = kNoUser;
};
StatusFound StatusIfThere(const std::string& socketPath);

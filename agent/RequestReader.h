#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "AgentProtocol.h"
#include "Secret.h"

// One request of a client, checked: whatever the fields hold can be carried out, and fits the service.
struct AgentRequest {
    const char* operation = "";                 // one of AgentOp
    std::optional<Account> account;             // of a login, also one that is to be sent as it stands
    std::string ticket;                         // of the terminal that is to be logged out
    std::string opcode;                         // of what is to be sent
    Secret parameters;                          // likewise, as XML: a login sent this way holds a password
    std::optional<std::chrono::seconds> since;  // of the history, back from now; none: all of it
    std::chrono::milliseconds timeout = std::chrono::seconds(kDefaultTimeoutSeconds);
};

// Reads the text of one line. False when it is no request; `fault` then is a sentence for people that repeats
// nothing of the line. Fields that the operation does not have are not looked at, and of a field that is
// there twice the first one counts. Takes time and memory in proportion to the line, whatever it holds. It
// leaves no copy of a password behind in a process that wipes what the JSON library frees, as the agent does.
bool ReadRequest(std::string_view line, AgentRequest& request, std::string& fault);

// Cuts what a client sends into lines. Holds at most one line of the longest length and wipes what it has
// handed on.
class RequestLines {
  public:
    RequestLines() = default;
    ~RequestLines();
    RequestLines(const RequestLines&) = delete;
    RequestLines& operator=(const RequestLines&) = delete;

    // How many bytes Add takes at most. 0: a line waits, or there is one that is too long.
    size_t Room() const;
    void Add(std::string_view bytes);
    // Nothing more comes: what follows the last line feed counts as a line, if it is anything.
    void End();

    bool IsTooLong() const;
    // The first line, without its line feed; none when it has not come in full. Valid until the next call
    // that is not const.
    std::optional<std::string_view> Line() const;
    // Drops the first line, which must be there.
    void Drop();

  private:
    std::string m_bytes;  // its room never grows: a copy of a password would stay where it was
};

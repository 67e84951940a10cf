#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "FrontEnd.h"

// A state report with all that it tells the user.
struct StateReport {
    int oldState = 0;
    int newState = 0;
    int code = 0;
    std::string subCode = {};
    std::string subType = {};
    std::string extra = {};
    int type = INetConn::ET_PORTAL;

    bool operator==(const StateReport& other) const;
};
std::ostream& operator<<(std::ostream& out, const StateReport& report);

// The state in the message; nothing when it is another message.
std::optional<StateReport> StateIn(const Report& message);

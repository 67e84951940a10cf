#pragma once

#include <cstdlib>
#include <optional>
#include <ostream>
#include <string>
#include <tuple>

#include "FrontEnd.h"

// A state report with all that it tells the user.
struct StateReport {
    auto Fields() const { return std::tie(oldState, newState, code, subCode, subType, extra, type); }

    int oldState = 0;
    int newState = 0;
    int code = 0;
    std::string subCode = {};
    std::string subType = {};
    std::string extra = {};
    int type = INetConn::ET_PORTAL;
};

inline bool operator==(const StateReport& left, const StateReport& right) {
    return left.Fields() == right.Fields();
}

inline std::ostream& operator<<(std::ostream& out, const StateReport& report) {
    return out << report.oldState << " to " << report.newState << ", code " << report.code << " ["
               << report.subCode << "][" << report.subType << "][" << report.extra << "], type "
               << report.type;
}

// The state in the message; nothing when it is another message.
inline std::optional<StateReport> StateIn(const Report& message) {
    if (!message.IsState()) {
        return std::nullopt;
    }
    return StateReport{message.oldState,
                       message.newState,
                       message.errorCode,
                       message.Parameter("subErrCode"),
                       message.Parameter("subType"),
                       message.Parameter("extern"),
                       std::atoi(message.Parameter("type").c_str())};
}

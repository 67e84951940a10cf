#pragma once

#include <ostream>
#include <string>
#include <tuple>

#include "INetConn.h"
#include "PortalCodes.h"
#include "PortalSim.h"

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

inline const StateReport kConnected = {INetConn::ES_CONNECTING, INetConn::ES_CONNECTED, StateCode::kSuccess};
inline const StateReport kLoggedOut = {INetConn::ES_DISCONNECTING, INetConn::ES_DISCONNECTED,
                                       StateCode::kSuccess};
inline const StateReport kLoggingIn = {INetConn::ES_NONE, INetConn::ES_CONNECTING, StateCode::kLoggingIn};

inline StateReport GettingReadyFailed(int code, const std::string& subCode = "") {
    return {INetConn::ES_PRECONNECTING, INetConn::ES_PRECONNECTFAIL, code, subCode};
}

inline StateReport LoginFailed(int code, const std::string& subCode = "") {
    return {INetConn::ES_CONNECTING, INetConn::ES_CONNECTFAIL, code, subCode};
}

// Answers that are none of the protocol's.
inline portal_sim::Answer OfKind(portal_sim::Answer::Kind kind) {
    portal_sim::Answer answer;
    answer.kind = kind;
    return answer;
}

inline const portal_sim::Answer kDrop = OfKind(portal_sim::Answer::Kind::Drop);
inline const portal_sim::Answer kRedirect = OfKind(portal_sim::Answer::Kind::Redirect);

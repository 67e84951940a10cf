#include "StateReport.h"

#include <cstdlib>
#include <tuple>

bool StateReport::operator==(const StateReport& other) const {
    auto fields = [](const StateReport& r) {
        return std::tie(r.oldState, r.newState, r.code, r.subCode, r.subType, r.extra, r.type);
    };
    return fields(*this) == fields(other);
}

std::ostream& operator<<(std::ostream& out, const StateReport& report) {
    return out << report.oldState << " to " << report.newState << ", code " << report.code << " ["
               << report.subCode << "][" << report.subType << "][" << report.extra << "], type "
               << report.type;
}

std::optional<StateReport> StateIn(const Report& message) {
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

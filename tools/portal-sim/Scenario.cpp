#include "Scenario.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace portal_sim {

const EndpointRow& RowOf(Endpoint endpoint) {
    return *std::find_if(std::begin(kEndpoints), std::end(kEndpoints),
                         [endpoint](const EndpointRow& row) { return row.endpoint == endpoint; });
}

Answer Answer::Error(int code, std::map<std::string, std::string> headers) {
    return {Kind::Error, code, {}, std::move(headers), {}};
}

Answer Answer::Module(std::string container) {
    return {Kind::Module, 0, std::move(container), {}, {}};
}

Answer Answer::Status(int status) {
    return {Kind::Status, status, {}, {}, {}};
}

Answer Answer::TicketAt(std::string server) {
    return {Kind::TicketAt, 0, std::move(server), {}, {}};
}

}  // namespace portal_sim

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
    Answer answer;
    answer.kind = Kind::Error;
    answer.code = code;
    answer.headers = std::move(headers);
    return answer;
}

Answer Answer::Module(std::string container) {
    Answer answer;
    answer.kind = Kind::Module;
    answer.text = std::move(container);
    return answer;
}

Answer Answer::Status(int status) {
    Answer answer;
    answer.kind = Kind::Status;
    answer.code = status;
    return answer;
}

Answer Answer::TicketAt(std::string server) {
    Answer answer;
    answer.kind = Kind::TicketAt;
    answer.text = std::move(server);
    return answer;
}

}  // namespace portal_sim

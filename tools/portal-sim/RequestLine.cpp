#include "RequestLine.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace portal_sim {
namespace {

std::string Clock() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[sizeof "HH:MM:SS"];
    std::strftime(text, sizeof text, "%H:%M:%S", &local);
    char fraction[sizeof ".123"];
    std::snprintf(fraction, sizeof fraction, ".%03u", static_cast<unsigned>(milliseconds) % 1000);
    return std::string(text) + fraction;
}

}  // namespace

bool IsHop(Endpoint endpoint) {
    return endpoint == Endpoint::Probe || endpoint == Endpoint::Entry || endpoint == Endpoint::Gate ||
           endpoint == Endpoint::Page;
}

std::string LineOf(const Request& request) {
    std::string line =
        Clock() + (IsHop(request.endpoint) ? " GET  " : " POST ") + request.path + "  " + request.outcome;
    for (const auto& [name, text] : request.elements) {
        if (name != "passwd" && !text.empty()) {
            line += "  " + name + "=" + text;
        }
    }
    if (!request.complaint.empty()) {
        line += "  COMPLAINT: " + request.complaint;
    }
    return line;
}

}  // namespace portal_sim

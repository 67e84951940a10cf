#include "TestFrontEnd.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <pugixml.hpp>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "ClientOperations.h"
#include "WaitUntil.h"

namespace {

constexpr char kFromService[] = "serverpipe";
constexpr char kToService[] = "clientpipe";
constexpr char kName[] = "client";

Message MessageOf(const std::string& text) {
    pugi::xml_document document;
    document.load_string(text.c_str(), pugi::parse_default | pugi::parse_ws_pcdata);
    const pugi::xml_node root = document.document_element();
    std::ostringstream parameters;
    for (const pugi::xml_node& child : root.child("P")) {
        child.print(parameters, "", pugi::format_raw | pugi::format_no_empty_element_tags);
    }
    return {root.child("OpS").text().get(), root.child("OpT").text().get(), root.child("OpC").text().get(),
            parameters.str()};
}

int OpenWithin(const char* path, int flags, std::chrono::milliseconds deadline) {
    int descriptor = -1;
    WaitUntil([&] { return (descriptor = open(path, flags | O_NONBLOCK | O_CLOEXEC)) >= 0; }, deadline);
    return descriptor;
}

}  // namespace

std::string Message::Parameter(const std::string& name) const {
    pugi::xml_document document;
    document.load_string(("<P>" + parameters + "</P>").c_str());
    return document.document_element().child(name.c_str()).text().get();
}

bool Report::operator==(const Report& other) const {
    auto fields = [](const Report& r) {
        return std::tie(r.oldState, r.newState, r.code, r.subCode, r.subType, r.extra, r.type);
    };
    return fields(*this) == fields(other);
}

std::ostream& operator<<(std::ostream& out, const Report& report) {
    return out << report.oldState << " to " << report.newState << ", code " << report.code << " ["
               << report.subCode << "][" << report.subType << "][" << report.extra << "], type "
               << report.type;
}

std::optional<Report> ReportIn(const Message& message) {
    if (message.operation != ClientReport::kNetState) {
        return std::nullopt;
    }
    auto number = [&](const char* name) { return std::atoi(message.Parameter(name).c_str()); };
    return Report{number("oldState"),
                  number("newState"),
                  number("ErrorCode"),
                  message.Parameter("subErrCode"),
                  message.Parameter("subType"),
                  message.Parameter("extern"),
                  number("type")};
}

TestFrontEnd::TestFrontEnd() {
    constexpr auto kServiceComes = std::chrono::seconds(10);
    (void)mkfifo(kToService, 0600);  // an earlier front end may have left it
    m_fromService = OpenWithin(kFromService, O_RDONLY, kServiceComes);
    m_toService = OpenWithin(kToService, O_WRONLY, kServiceComes);
    if (m_fromService < 0 || m_toService < 0 || pipe2(m_stop, O_CLOEXEC) != 0) {
        throw std::runtime_error("the service does not open its FIFOs");
    }
    m_thread = std::thread([this] { Collect(); });
}

TestFrontEnd::~TestFrontEnd() {
    close(m_stop[1]);
    m_thread.join();
    close(m_stop[0]);
    close(m_fromService);
    close(m_toService);
}

void TestFrontEnd::Send(const std::string& operation, const std::string& parameters) {
    const std::string text = "<M><OpS>" + std::string(kName) + "</OpS><OpT>" + kPortalBusiness +
                             "</OpT><OpC>" + operation + "</OpC><P>" + parameters + "</P></M>";
    SendRaw({text.c_str(), text.size() + 1});
}

void TestFrontEnd::SendRaw(const std::string& bytes) {
    if (write(m_toService, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the service does not take the message");
    }
}

std::vector<Message> TestFrontEnd::Messages() const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_messages;
}

std::optional<Message> TestFrontEnd::WaitFor(const std::function<bool(const Message&)>& fits,
                                             std::chrono::milliseconds deadline) {
    std::unique_lock<std::mutex> guard(m_lock);
    std::optional<Message> found;
    m_arrived.wait_for(guard, deadline, [&] {
        while (!found && m_next < m_messages.size()) {
            const Message& message = m_messages[m_next++];
            if (fits(message)) {
                found = message;
            }
        }
        return found.has_value();
    });
    return found;
}

void TestFrontEnd::Collect() {
    std::string rest;
    pollfd waited[] = {{m_fromService, POLLIN, 0}, {m_stop[0], POLLIN, 0}};
    while (poll(waited, 2, -1) >= 0 && waited[1].revents == 0) {
        char block[4096];
        const ssize_t size = read(m_fromService, block, sizeof block);
        if (size <= 0) {
            waited[0].fd = -1;  // the service is gone; only the end is waited for
            continue;
        }
        rest.append(block, static_cast<size_t>(size));
        const std::lock_guard<std::mutex> guard(m_lock);
        for (size_t end; (end = rest.find('\0')) != std::string::npos; rest.erase(0, end + 1)) {
            m_messages.push_back(MessageOf(rest.substr(0, end)));
        }
        m_arrived.notify_all();
    }
}

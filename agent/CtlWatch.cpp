// The command that stays: events as they come.

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <iterator>

#include "CtlCommands.h"
#include "CtlWords.h"

namespace {

// Each line was written as a whole before.
void EndAsAsked(int /*signal*/) {
    _exit(static_cast<int>(ExitStatus::kDone));
}

// False when the output takes no more. That its reader has left is no fault of it.
bool PrintNow(const std::string& line) {
    const bool isPrinted = printf("%s\n", line.c_str()) >= 0 && fflush(stdout) == 0;
    if (!isPrinted && errno == EPIPE) {
        clearerr(stdout);
    }
    return isPrinted;
}

std::string EventLine(const CtlOptions& options, const AgentClient& client, bool inColour) {
    if (options.asJson) {
        return ShownJson(client.Line());
    }
    const JsonOwner event = client.Parsed();
    return event != nullptr ? EventWords(*event, time(nullptr), inColour)
                            : "the agent sent something that is no event";
}

// False when nobody reads the output any more.
bool WaitForMore(const AgentClient& client) {
    pollfd watched[] = {{client.Descriptor(), POLLIN, 0},
                        {STDOUT_FILENO, 0, 0}};  // a pipe tells by itself when its reader has gone
    (void)poll(watched, std::size(watched), -1);
    return (watched[1].revents & (POLLERR | POLLHUP)) == 0;
}

ExitStatus PrintEvents(const CtlOptions& options, AgentClient& client) {
    const bool inColour = WantsColour();
    for (;;) {
        switch (client.Take()) {
            case AgentClient::Arrival::kLine:
                if (!PrintNow(EventLine(options, client, inColour))) {
                    return ExitStatus::kDone;
                }
                break;
            case AgentClient::Arrival::kClosed:
                return Complain({ExitStatus::kNoService, "the agent has ended the connection"});
            case AgentClient::Arrival::kTooLong:
                return Complain({ExitStatus::kFailed, "the agent sends a line that has no end"});
            case AgentClient::Arrival::kNothingYet:
                if (!WaitForMore(client)) {
                    return ExitStatus::kDone;
                }
                break;
        }
    }
}

}  // namespace

ExitStatus Watch(const CtlOptions& options) {
    (void)signal(SIGINT, EndAsAsked);
    (void)signal(SIGTERM, EndAsAsked);
    AgentClient client{std::chrono::seconds(options.timeoutSeconds)};
    JsonOwner status;
    const CtlFault fault = client.Ask(options.socket, CtlRequest(AgentOp::kWatch), status);
    if (!fault.IsNone()) {
        return Refuse(options, fault);
    }
    const std::string first = options.asJson
                                  ? ShownJson(client.Line())
                                  : LocalTime(time(nullptr)) + "  " + StateWords(*status, WantsColour());
    return PrintNow(first) ? PrintEvents(options, client) : ExitStatus::kDone;
}

// What the user asks of the agent, and the agent's answers.

#include "CtlCommands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>

#include "AgentState.h"
#include "CtlPassword.h"
#include "CtlWords.h"
#include "FileUtil.h"
#include "HistorySvg.h"

namespace {

const char* ErrorWordOf(ExitStatus status) {
    constexpr AgentError kWords[] = {
        AgentErrors::kFailed,  AgentErrors::kBadRequest, AgentErrors::kTimeout,   AgentErrors::kNotLoggedIn,
        AgentErrors::kRefused, AgentErrors::kNoPortal,   AgentErrors::kNoService, AgentErrors::kDenied};
    for (const AgentError& error : kWords) {
        if (error.status == status) {
            return error.word;
        }
    }
    return AgentErrors::kFailed.word;
}

void PrintLine(const std::string& line) {
    (void)printf("%s\n", line.c_str());
}

// One request. Its answer is printed with --json, and else handed to `tell`, which also gives the status.
ExitStatus AskAgent(const CtlOptions& options, CtlRequest request,
                    const std::function<ExitStatus(const cJSON& answer)>& tell) {
    AgentClient client{std::chrono::seconds(options.timeoutSeconds)};
    JsonOwner answer;
    const CtlFault fault = client.Ask(options.socket, std::move(request), answer);
    if (!fault.IsNone()) {
        return Refuse(options, fault);
    }
    if (options.asJson) {
        PrintLine(ShownJson(client.Line()));
    }
    return tell(*answer);
}

// The answer holds the status fields: one line of them for people.
ExitStatus AskForState(const CtlOptions& options, CtlRequest request,
                       const std::function<ExitStatus(const std::string& state)>& judge) {
    return AskAgent(options, std::move(request), [&](const cJSON& answer) {
        if (!options.asJson) {
            PrintLine(StateWords(answer, WantsColour()));
        }
        return judge(TextOf(&answer, AgentField::kState));
    });
}

ExitStatus Done(const std::string& /*state*/) {
    return ExitStatus::kDone;
}

// Of a look at the network nobody expects a login.
ExitStatus StatusOfCheck(const std::string& state) {
    if (state == WordOf(AgentState::kReady).name) {
        return ExitStatus::kDone;
    }
    return state == WordOf(AgentState::kOffline).name ? ExitStatus::kFailed : StatusOfState(state);
}

// The account that the agent knows, for a password that comes without one.
CtlFault FindAccount(const CtlOptions& options, std::string& account) {
    AgentClient client{std::chrono::seconds(options.timeoutSeconds)};
    JsonOwner status;
    CtlFault fault = client.Ask(options.socket, CtlRequest(AgentOp::kStatus), status);
    if (!fault.IsNone()) {
        return fault;
    }
    account = TextOf(status.get(), AgentField::kAccount);
    return account.empty() ? CtlFault{ExitStatus::kUsage, "the agent knows no account: name one"}
                           : CtlFault{};
}

bool NamesPassword(const CtlOptions& options) {
    return options.passwordFromInput || !options.passwordFile.empty();
}

CtlFault WriteDrawing(const std::string& path, const std::string& drawing) {
    if (CFileUtil::ReplaceFile(path.c_str(), drawing)) {
        return {};
    }
    const ExitStatus status = errno == EACCES || errno == EPERM ? ExitStatus::kDenied : ExitStatus::kFailed;
    return {status, path + " cannot be written: " + strerror(errno)};
}

ExitStatus TellHistory(const CtlOptions& options, const cJSON& answer) {
    const std::deque<HistoryEntry> entries = ReadHistory(answer);
    const std::time_t now = time(nullptr);
    const std::time_t since = now - options.historySeconds;
    if (!options.svgFile.empty()) {
        const CtlFault fault = WriteDrawing(options.svgFile, HistoryAsSvg(entries, since, now));
        if (!fault.IsNone()) {
            return Refuse(options, fault);
        }
    } else if (!options.asJson && !entries.empty()) {
        PrintLine(HistoryWords(entries, WantsColour()));
    }
    if (!options.asJson) {
        PrintLine(SummaryWords(Summarize(entries, since, now)));
    }
    return ExitStatus::kDone;
}

}  // namespace

ExitStatus ShowStatus(const CtlOptions& options) {
    return AskAgent(options, CtlRequest(AgentOp::kStatus), [&](const cJSON& status) {
        if (!options.asJson) {
            PrintLine(StatusWords(status, time(nullptr), WantsColour()));
        }
        return StatusOfState(TextOf(&status, AgentField::kState));
    });
}

ExitStatus Login(const CtlOptions& options) {
    CtlOptions complete = options;
    Secret password;  // outlives the request, which does not copy it
    CtlRequest request(AgentOp::kLogin);
    if (options.account.empty() && !NamesPassword(options)) {
        return AskForState(options, std::move(request), Done);  // with the account that the agent has
    }
    CtlFault fault = options.account.empty() ? FindAccount(options, complete.account) : CtlFault{};
    if (fault.IsNone()) {
        fault = ReadAccountPassword(complete, password);
    }
    if (!fault.IsNone()) {
        return Refuse(options, fault);
    }
    AddText(*request.fields, AgentField::kAccount, complete.account);
    request.AddUncopied(AgentField::kPassword, password);
    return AskForState(options, std::move(request), Done);
}

ExitStatus Logout(const CtlOptions& options) {
    return AskForState(options, CtlRequest(AgentOp::kLogout), Done);
}

ExitStatus CheckNetwork(const CtlOptions& options) {
    return AskForState(options, CtlRequest(AgentOp::kCheck), StatusOfCheck);
}

ExitStatus ShowTerminals(const CtlOptions& options) {
    return AskAgent(options, CtlRequest(AgentOp::kTerminals), [&](const cJSON& answer) {
        const cJSON* terminals = cJSON_GetObjectItemCaseSensitive(&answer, AgentField::kTerminals);
        if (!options.asJson) {
            PrintLine(terminals != nullptr ? TerminalWords(*terminals) : "no terminals");
        }
        return ExitStatus::kDone;
    });
}

ExitStatus LogoutTerminal(const CtlOptions& options) {
    CtlRequest request(AgentOp::kTerminalLogout);
    AddText(*request.fields, AgentField::kTicket, options.ticket);
    return AskAgent(options, std::move(request), [&](const cJSON&) {
        if (!options.asJson) {
            PrintLine("asked the portal to log that terminal out");
        }
        return ExitStatus::kDone;
    });
}

ExitStatus ShowHistory(const CtlOptions& options) {
    CtlRequest request(AgentOp::kHistory);
    cJSON_AddNumberToObject(request.fields.get(), AgentField::kSince,
                            static_cast<double>(options.historySeconds));
    return AskAgent(options, std::move(request),
                    [&](const cJSON& answer) { return TellHistory(options, answer); });
}

ExitStatus Complain(const CtlFault& fault) {
    (void)fprintf(stderr, "quorvane-ctl: %s\n", Shown(fault.text).c_str());
    return fault.status;
}

ExitStatus Refuse(const CtlOptions& options, const CtlFault& fault) {
    if (options.asJson) {
        const JsonOwner answer = NewJsonObject();
        cJSON_AddFalseToObject(answer.get(), AgentField::kOk);
        AddText(*answer, AgentField::kError,
                fault.word.empty() ? ErrorWordOf(fault.status) : Shown(fault.word));
        AddText(*answer, AgentField::kMessage, Shown(fault.text));
        cJSON_AddNumberToObject(answer.get(), AgentField::kStatusNumber, static_cast<double>(fault.status));
        PrintLine(OneLine(*answer));
    }
    return Complain(fault);
}

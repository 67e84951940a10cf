#include "CtlWords.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "AgentState.h"
#include "Json.h"
#include "PortalCodes.h"
#include "ReadableText.h"
#include "ReportWords.h"
#include "TextUtil.h"

namespace {

constexpr char kGreen[] = "\x1b[32m";
constexpr char kYellow[] = "\x1b[33m";
constexpr char kRed[] = "\x1b[31m";
constexpr char kPlain[] = "\x1b[0m";

// What a state means to whoever started the command.
struct StateLook {
    AgentState state;
    ExitStatus status;
    const char* colour;
};
constexpr StateLook kStateLooks[] = {
    {AgentState::kServiceGone, ExitStatus::kNoService, kRed},
    {AgentState::kChecking, ExitStatus::kNotLoggedIn, kYellow},
    {AgentState::kReady, ExitStatus::kNotLoggedIn, kYellow},
    {AgentState::kLoggingIn, ExitStatus::kNotLoggedIn, kYellow},
    {AgentState::kOnline, ExitStatus::kDone, kGreen},
    {AgentState::kOpenNetwork, ExitStatus::kNoPortal, kGreen},
    {AgentState::kLoggingOut, ExitStatus::kNotLoggedIn, kYellow},
    {AgentState::kRefused, ExitStatus::kRefused, kRed},
    {AgentState::kNoAdapter, ExitStatus::kFailed, kRed},
    {AgentState::kNoPortal, ExitStatus::kNoPortal, kRed},
    {AgentState::kOffline, ExitStatus::kNotLoggedIn, kRed},
};
static_assert(std::size(kStateLooks) == std::size(kAgentStateWords), "every state has its meaning");

const StateLook* FindLook(const std::string& name) {
    const AgentStateWord* word = FindAgentState(name);
    return word != nullptr ? &kStateLooks[static_cast<int>(word->state)] : nullptr;
}

std::string NameWords(const std::string& name, bool inColour) {
    const AgentStateWord* word = FindAgentState(name);
    std::string words = word != nullptr ? word->words : Shown(name);
    if (name == kAgentStopped) {
        words = "no agent";
    }
    const StateLook* look = FindLook(name);
    return inColour && look != nullptr ? look->colour + words + kPlain : words;
}

const cJSON* Field(const cJSON* object, const char* name) {
    return cJSON_GetObjectItemCaseSensitive(object, name);
}

std::string ShownField(const cJSON* object, const char* name) {
    return Shown(TextOf(object, name));
}

double NumberOf(const cJSON* object, const char* name) {
    const cJSON* field = Field(object, name);
    return cJSON_IsNumber(field) ? field->valuedouble : 0;
}

int IntegerOf(const cJSON* object, const char* name) {
    const cJSON* field = Field(object, name);
    return cJSON_IsNumber(field) ? field->valueint : 0;
}

std::string Percent(double share) {
    char text[32];
    (void)snprintf(text, sizeof(text), "%.1f %%", share * 100);
    return text;
}

std::string SinceWords(const cJSON& status, std::time_t now) {
    const std::string text = TextOf(&status, AgentField::kSince);
    const std::time_t since = TimeOfText(text);
    if (since == 0) {
        return Shown(text);
    }
    return LocalTime(since) + (since <= now ? " (" + DurationWords(now - since) + ")" : "");
}

std::string AccountWords(const cJSON& status) {
    const std::string account = ShownField(&status, AgentField::kAccount);
    const std::string file = Shown(AccountFileOf(&status));
    if (account.empty()) {
        return file.empty() ? "none" : "none (awaited in " + file + ")";
    }
    return account + (file.empty() ? "" : " (file " + file + ")");
}

std::string AddressWords(const cJSON& status) {
    const cJSON* network = Field(&status, AgentField::kNetwork);
    const std::string address = ShownField(network, AgentField::kAddress);
    const std::string interface = ShownField(network, AgentField::kInterface);
    const std::string gateway = ShownField(network, AgentField::kGateway);
    return (address.empty() ? "none" : address) + (interface.empty() ? "" : " on " + interface) +
           (gateway.empty() ? "" : ", gateway " + gateway);
}

std::string PortalWords(const cJSON& status) {
    const std::pair<const char*, const char*> kParts[] = {
        {AgentField::kAccount, "account "},
        {AgentField::kSchoolId, "school "},
        {AgentField::kDomain, "domain "},
        {AgentField::kArea, "area "},
    };
    const cJSON* portal = Field(&status, AgentField::kPortal);
    std::string words;
    for (const auto& [name, title] : kParts) {
        const std::string text = ShownField(portal, name);
        words += text.empty() ? "" : (words.empty() ? "" : ", ") + (title + text);
    }
    return words.empty() ? "unknown" : words;
}

// Without a report behind it, or of one that tells a success, there is only the text.
std::string EndingWords(int code, const std::string& subCode, const std::string& text) {
    if (code <= StateCode::kSuccess) {
        return Shown(text);
    }
    return std::to_string(code) + (subCode.empty() ? "" : "/" + Shown(subCode)) +
           (text.empty() ? "" : ": " + Shown(text));
}

std::string LastWords(const cJSON& status) {
    const cJSON* last = Field(&status, AgentField::kLast);
    return cJSON_IsObject(last)
               ? EndingWords(IntegerOf(last, AgentField::kCode), TextOf(last, AgentField::kSubCode),
                             TextOf(last, AgentField::kText))
               : "none";
}

std::string NextTryWords(const cJSON& status) {
    const cJSON* nextTry = Field(&status, AgentField::kNextTry);
    const std::string state = TextOf(&status, AgentField::kState);
    if (cJSON_IsNumber(nextTry)) {
        const int attempts = IntegerOf(&status, AgentField::kAttempts);
        return "in " + DurationWords(nextTry->valueint) + " (failed so far: " + std::to_string(attempts) +
               ")";
    }
    if (state == WordOf(AgentState::kOnline).name) {
        return "none needed";
    }
    if (state == WordOf(AgentState::kRefused).name) {
        return "none before the account changes or a login is asked for";
    }
    if (!cJSON_IsTrue(Field(&status, AgentField::kWanted))) {
        return "none, no login is wanted";
    }
    return state == WordOf(AgentState::kServiceGone).name ? "once the service runs" : "under way";
}

std::string ServiceWords(const cJSON& status) {
    const cJSON* service = Field(&status, AgentField::kService);
    const int pid = IntegerOf(service, AgentField::kPid);
    const std::string folder = ShownField(service, AgentField::kFolder);
    return (pid > 0 ? "process " + std::to_string(pid) : std::string("no process known")) +
           (folder.empty() ? "" : " in " + folder);
}

std::string DayWords(const cJSON& status) {
    return "online " + Percent(NumberOf(&status, AgentField::kOnlineShare)) + ", " +
           std::to_string(IntegerOf(&status, AgentField::kInterruptions)) + " interruptions";
}

// The value of a parameter: texts as they stand, what is nested with its names. Empty texts within are left
// out.
std::string ValueWords(const cJSON& value) {
    if (cJSON_IsString(&value) != 0) {
        return Shown(value.valuestring);
    }
    if (cJSON_IsObject(&value) == 0 && cJSON_IsArray(&value) == 0) {
        return Shown(OneLine(value));
    }
    std::string words;
    for (const cJSON* part = value.child; part != nullptr; part = part->next) {
        if (cJSON_IsString(part) != 0 && *part->valuestring == '\0') {
            continue;
        }
        words += words.empty() ? "" : ", ";
        words += part->string != nullptr ? Shown(part->string) + " " : "";
        const bool isNested = cJSON_IsObject(part) != 0 || cJSON_IsArray(part) != 0;
        words += isNested ? "(" + ValueWords(*part) + ")" : ValueWords(*part);
    }
    return words;
}

}  // namespace

bool WantsColour() {
    return isatty(STDOUT_FILENO) != 0 && IsNullOrEmpty(getenv("NO_COLOR")) &&
           std::string(OrEmpty(getenv("TERM"))) != "dumb";
}

std::string Shown(const std::string& text) {
    return ReadableText(text);
}

std::string ShownJson(const std::string& line) {
    constexpr char kSecondSetLead = '\xc2';  // in front of U+0080 to U+009F
    const std::string text = InUtf8(line);
    std::string shown;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool isPair = text[i] == kSecondSetLead && i + 1 < text.size() &&
                            static_cast<unsigned char>(text[i + 1]) <= 0x9f;
        const auto character = static_cast<unsigned char>(isPair ? text[++i] : text[i]);
        if (isPair || character < 0x20 || character == 0x7f) {
            char reference[8];
            (void)snprintf(reference, sizeof(reference), "\\u%04x", character);
            shown += reference;
        } else {
            shown += text[i];
        }
    }
    return shown;
}

std::string LocalTime(std::time_t time) {
    tm local = {};
    char text[64] = "";
    if (localtime_r(&time, &local) != nullptr) {
        (void)strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
    }
    return text;
}

std::string DurationWords(std::time_t seconds) {
    constexpr std::pair<std::time_t, const char*> kUnits[] = {
        {24 * 60 * 60, " d"}, {60 * 60, " h"}, {60, " min"}, {1, " s"}};
    for (size_t i = 0; i < std::size(kUnits); ++i) {
        const auto& [length, name] = kUnits[i];
        if (seconds < length) {
            continue;
        }
        std::string words = std::to_string(seconds / length) + name;
        if (i + 1 < std::size(kUnits) && seconds % length >= kUnits[i + 1].first) {
            words += " " + std::to_string(seconds % length / kUnits[i + 1].first) + kUnits[i + 1].second;
        }
        return words;
    }
    return "0 s";
}

ExitStatus StatusOfState(const std::string& state) {
    const StateLook* look = FindLook(state);
    return look != nullptr ? look->status : ExitStatus::kFailed;
}

std::string AccountFileOf(const cJSON* status) {
    const std::string named = TextOf(status, AgentField::kAccountFile);
    return StartsWith(named, kSystemCredentials) ? kSystemAccountFile : named;
}

std::string StatusWords(const cJSON& status, std::time_t now, bool inColour) {
    return "State     " + NameWords(TextOf(&status, AgentField::kState), inColour) +  //
           "\nSince     " + SinceWords(status, now) +                                 //
           "\nAccount   " + AccountWords(status) +                                    //
           "\nAddress   " + AddressWords(status) +                                    //
           "\nPortal    " + PortalWords(status) +                                     //
           "\nLast      " + LastWords(status) +                                       //
           "\nNext try  " + NextTryWords(status) +                                    //
           "\nService   " + ServiceWords(status) +                                    //
           "\nLast day  " + DayWords(status);
}

std::string StateWords(const cJSON& status, bool inColour) {
    std::string words = NameWords(TextOf(&status, AgentField::kState), inColour);
    const std::string account = ShownField(&status, AgentField::kAccount);
    words += account.empty() ? "" : ", account " + account;
    const std::string address = ShownField(Field(&status, AgentField::kNetwork), AgentField::kAddress);
    return words + (address.empty() ? "" : ", address " + address);
}

std::string EventWords(const cJSON& event, std::time_t now, bool inColour) {
    const std::string kind = TextOf(&event, AgentField::kEvent);
    const std::string time = LocalTime(now) + "  ";
    if (kind == AgentEvent::kReport) {
        const cJSON* parameters = Field(&event, AgentField::kParameters);
        const std::string words = parameters != nullptr ? ValueWords(*parameters) : "";
        return time + "report " + ShownField(&event, AgentField::kOpcode) +
               (words.empty() ? "" : ": " + words);
    }
    if (kind == AgentEvent::kValue) {
        const cJSON* value = Field(&event, AgentField::kValue);
        return time + "value " + ShownField(&event, AgentField::kKey) + ": " +
               (value != nullptr ? ValueWords(*value) : "");
    }
    return time + (kind == AgentEvent::kState ? StateWords(event, inColour) : "event " + Shown(kind));
}

std::string TerminalWords(const cJSON& terminals) {
    std::string words;
    for (const cJSON* terminal = terminals.child; terminal != nullptr; terminal = terminal->next) {
        words += (words.empty() ? "" : "\n") + ValueWords(*terminal);
    }
    return words.empty() ? "no terminals" : words;
}

std::deque<HistoryEntry> ReadHistory(const cJSON& answer) {
    std::deque<HistoryEntry> entries;
    const cJSON* list = Field(&answer, AgentField::kHistory);
    for (const cJSON* row = list != nullptr ? list->child : nullptr; row != nullptr; row = row->next) {
        const std::time_t time = TimeOfText(TextOf(row, AgentField::kTime));
        if (time != 0) {
            entries.push_back({time, TextOf(row, AgentField::kState), IntegerOf(row, AgentField::kCode),
                               TextOf(row, AgentField::kSubCode), TextOf(row, AgentField::kText)});
        }
    }
    return entries;
}

std::string HistoryWords(const std::deque<HistoryEntry>& entries, bool inColour) {
    std::string words;
    for (const HistoryEntry& entry : entries) {
        words +=
            (words.empty() ? "" : "\n") + LocalTime(entry.time) + "  " + NameWords(entry.state, inColour);
        if (!entry.text.empty()) {
            words += ", " + EndingWords(entry.code, entry.subCode, entry.text);
        }
    }
    return words;
}

std::string SummaryWords(const HistorySummary& summary) {
    return "online " + Percent(summary.onlineShare) + " of " + DurationWords(summary.lookedAt) + ", " +
           std::to_string(summary.interruptions) + " interruptions";
}

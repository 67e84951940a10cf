// The lines of a scenario file: tables from keyword to setting, and the scripted answers.
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "Scenario.h"

namespace portal_sim {
namespace {

using Words = std::vector<std::string>;

struct TextSetting {
    const char* keyword;
    std::string Scenario::*field;
};
constexpr TextSetting kTextSettings[] = {
    {"school-id", &Scenario::schoolId},
    {"domain", &Scenario::domain},
    {"area", &Scenario::area},
    {"wlanuserip", &Scenario::wlanUserIp},
    {"wlanusermac", &Scenario::wlanUserMac},
    {"wlanacip", &Scenario::wlanAcIp},
    {"marker-host", &Scenario::markerHost},
    {"servers", &Scenario::servers},
    {"account-type", &Scenario::accountType},
    {"account-value", &Scenario::accountValue},
    {"dns1", &Scenario::dns1},
    {"dns2", &Scenario::dns2},
};

struct NumberSetting {
    const char* keyword;
    unsigned Scenario::*field;
};
constexpr NumberSetting kNumberSettings[] = {
    {"state-interval", &Scenario::stateInterval},
    {"statistics-interval", &Scenario::statisticsInterval},
    {"ticket-seconds", &Scenario::ticketSeconds},
    {"pulse-seconds", &Scenario::pulseSeconds},
    {"pulse-level", &Scenario::pulseLevel},
    {"pulse-retries", &Scenario::pulseRetries},
    {"sharing-seconds", &Scenario::sharingSeconds},
    {"sharing-logout-seconds", &Scenario::sharingLogoutSeconds},
};

struct SwitchSetting {
    const char* keyword;
    bool Scenario::*field;
    bool value;
};
constexpr SwitchSetting kSwitchSettings[] = {
    {"no-portal", &Scenario::portal, false},
    {"portal", &Scenario::portal, true},
    {"endless-redirect", &Scenario::endlessRedirect, true},
    {"forbid-forwarding", &Scenario::forbidForwarding, true},
};

struct AnswerWord {
    const char* word;
    Answer::Kind kind;
    enum { None, Number, Text, File } argument;
};
constexpr AnswerWord kAnswerWords[] = {
    {"usual", Answer::Kind::Usual, AnswerWord::None},
    {"error", Answer::Kind::Error, AnswerWord::Number},
    {"module", Answer::Kind::Module, AnswerWord::File},
    {"garbage", Answer::Kind::Garbage, AnswerWord::None},
    {"drop", Answer::Kind::Drop, AnswerWord::None},
    {"status", Answer::Kind::Status, AnswerWord::Number},
    {"redirect", Answer::Kind::Redirect, AnswerWord::None},
    {"page", Answer::Kind::Page, AnswerWord::None},
    {"ticket-at", Answer::Kind::TicketAt, AnswerWord::Text},
};

// Splits at blanks outside of double quotes; the quotes themselves are dropped.
Words Split(const std::string& line) {
    Words words;
    bool inWord = false;
    bool quoted = false;
    for (char c : line) {
        if (!quoted && (c == ' ' || c == '\t' || c == '\r')) {
            inWord = false;
            continue;
        }
        if (!inWord) {
            words.emplace_back();
            inWord = true;
        }
        if (c == '"') {
            quoted = !quoted;
        } else {
            words.back() += c;
        }
    }
    return words;
}

bool ReadNumber(const std::string& text, unsigned& number) {
    constexpr size_t kMaxDigits = 9;  // fits an unsigned and an int
    if (text.empty() || text.size() > kMaxDigits ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    number = static_cast<unsigned>(std::strtoul(text.c_str(), nullptr, 10));
    return true;
}

bool ReadFile(const std::string& path, std::string& content) {
    std::ifstream file(path, std::ios::binary);
    content.assign(std::istreambuf_iterator<char>(file), {});
    return file.is_open() && !content.empty();
}

bool ReadArgument(const AnswerWord& row, const std::string& word, Answer& answer, std::string& fault) {
    unsigned number = 0;
    if (row.argument == AnswerWord::File && !ReadFile(word, answer.text)) {
        fault = "the file " + word + " cannot be read";
        return false;
    }
    if (row.argument == AnswerWord::Number && !ReadNumber(word, number)) {
        fault = word + " is not a number";
        return false;
    }
    if (row.argument == AnswerWord::Text) {
        answer.text = word;
    }
    answer.code = static_cast<int>(number);
    return true;
}

// "Name=value" words behind the kind: headers, and the delay in milliseconds.
bool ReadOption(const std::string& word, Answer& answer, std::string& fault) {
    const size_t equals = word.find('=');
    if (equals == 0 || equals == std::string::npos) {
        fault = word + " is not of the form Header=value or delay=milliseconds";
        return false;
    }
    const std::string name = word.substr(0, equals);
    const std::string value = word.substr(equals + 1);
    if (name != "delay") {
        answer.headers[name] = value;
        return true;
    }
    unsigned milliseconds = 0;
    if (!ReadNumber(value, milliseconds)) {
        fault = value + " is not a number of milliseconds";
        return false;
    }
    answer.delay = std::chrono::milliseconds(milliseconds);
    return true;
}

bool ReadAnswer(const Words& words, const AnswerWord& row, Answer& answer, std::string& fault) {
    answer.kind = row.kind;
    size_t next = 3;
    if (row.argument != AnswerWord::None) {
        if (words.size() <= next) {
            fault = "\"" + words[2] + "\" needs a value";
            return false;
        }
        if (!ReadArgument(row, words[next++], answer, fault)) {
            return false;
        }
    }
    for (; next < words.size(); ++next) {
        if (!ReadOption(words[next], answer, fault)) {
            return false;
        }
    }
    return true;
}

// answer ENDPOINT KIND [VALUE] [Header=value ...] [delay=milliseconds]
bool ApplyAnswer(const Words& words, Scenario& scenario, std::string& fault) {
    fault = "\"answer\" needs an endpoint and a kind of answer";
    if (words.size() < 3) {
        return false;
    }
    for (const EndpointRow& endpoint : kEndpoints) {
        for (const AnswerWord& row : kAnswerWords) {
            Answer answer;
            if (words[1] != endpoint.name || words[2] != row.word) {
                continue;
            }
            if (!ReadAnswer(words, row, answer, fault)) {
                return false;
            }
            scenario.script[endpoint.endpoint].push_back(answer);
            return true;
        }
    }
    fault = "no answer \"" + words[2] + "\" for \"" + words[1] + "\" is known";
    return false;
}

struct PairSetting {
    const char* keyword;
    void (*apply)(Scenario&, const std::string&, const std::string&);
};
const PairSetting kPairSettings[] = {
    {"account",
     [](Scenario& s, const std::string& name, const std::string& password) {
         s.account = name;
         s.password = password;
     }},
    {"forbid-process", [](Scenario& s, const std::string& name,
                          const std::string& shown) { s.forbiddenProcesses[name] = shown; }},
    {"terminal",
     [](Scenario& s, const std::string& host, const std::string& ticket) {
         s.terminals.push_back({host, ticket});
     }},
    {"wrong-password", [](Scenario& s, const std::string& header,
                          const std::string& value) { s.wrongPasswordHeaders[header] = value; }},
};

struct ListSetting {
    const char* keyword;
    std::vector<std::string> Scenario::*field;
};
constexpr ListSetting kListSettings[] = {
    {"register", &Scenario::registerNotices},
    {"option", &Scenario::optionNotices},
};

// The settings with one value. False when the keyword is none of them or the value does not fit.
bool ApplyValue(const std::string& keyword, const std::string& value, Scenario& scenario) {
    for (const TextSetting& row : kTextSettings) {
        if (keyword == row.keyword) {
            scenario.*row.field = value;
            return true;
        }
    }
    for (const NumberSetting& row : kNumberSettings) {
        if (keyword == row.keyword) {
            return ReadNumber(value, scenario.*row.field);
        }
    }
    for (const ListSetting& row : kListSettings) {
        if (keyword == row.keyword) {
            (scenario.*row.field).push_back(value);
            return true;
        }
    }
    return false;
}

bool ApplySwitch(const std::string& keyword, Scenario& scenario) {
    for (const SwitchSetting& row : kSwitchSettings) {
        if (keyword == row.keyword) {
            scenario.*row.field = row.value;
            return true;
        }
    }
    return false;
}

bool ApplyPair(const Words& words, Scenario& scenario) {
    for (const PairSetting& row : kPairSettings) {
        if (words[0] == row.keyword) {
            row.apply(scenario, words[1], words[2]);
            return true;
        }
    }
    return false;
}

}  // namespace

bool ApplyLine(const std::string& line, Scenario& scenario, std::string& fault) {
    const Words words = Split(line);
    if (words.empty() || words[0][0] == '#') {
        return true;
    }
    if (words[0] == "answer") {
        return ApplyAnswer(words, scenario, fault);
    }
    const bool applied = words.size() == 1   ? ApplySwitch(words[0], scenario)
                         : words.size() == 2 ? ApplyValue(words[0], words[1], scenario)
                         : words.size() == 3 ? ApplyPair(words, scenario)
                                             : false;
    if (!applied) {
        fault = "\"" + line + "\" is not understood";
    }
    return applied;
}

}  // namespace portal_sim

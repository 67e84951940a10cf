#include "RequestReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ClientOperations.h"
#include "FrontEndMessages.h"
#include "Json.h"
#include "MarkupParser.h"
#include "MarkupText.h"

namespace {

constexpr char kLineEnd = '\n';
constexpr char kWhiteSpace[] = " \t\r\n";
constexpr char kEscapedNul[] = "u0000";

// What the service reads as one message, its NUL not counted.
constexpr size_t kLongestMessage = 4095;
// So that no sum of moments overflows; nobody waits longer than a year.
constexpr double kLongestWait = 365.0 * 24 * 60 * 60;
// Nor has anybody a history of centuries.
constexpr double kLongestSince = 1000 * kLongestWait;
// Elements within elements: more than any operation has, and few enough for a walk that recurses.
constexpr int kDeepestParameters = 32;

// Within the parameters of a login.
constexpr char kUserElement[] = "user";
constexpr char kPasswordElement[] = "password";

constexpr char kTooLong[] = "this is more than the service takes in one message";

// The document of a line; with anything but white space behind it the line is none.
class ParsedLine {
  public:
    explicit ParsedLine(std::string_view line) {
        const char* end = nullptr;
        m_value.reset(cJSON_ParseWithLengthOpts(line.data(), line.size(), &end, 0));
        if (m_value != nullptr) {
            line.remove_prefix(static_cast<size_t>(end - line.data()));
            m_isAlone = line.find_first_not_of(kWhiteSpace) == std::string_view::npos;
        }
    }

    bool IsObject() const { return m_isAlone && cJSON_IsObject(m_value.get()); }
    const cJSON& Value() const { return *m_value; }

  private:
    JsonOwner m_value;
    bool m_isAlone = false;
};

// A text ends at a NUL everywhere behind this point; what follows it would silently be lost.
bool HasNul(std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
        return true;
    }
    for (size_t at = line.find('\\'); at != std::string_view::npos; at = line.find('\\', at + 2)) {
        if (line.substr(at + 1, strlen(kEscapedNul)) == kEscapedNul) {
            return true;
        }
    }
    return false;
}

const cJSON* Member(const cJSON& object, const char* name) {
    return cJSON_GetObjectItemCaseSensitive(&object, name);
}

// False with a fault unless the member is a text that is not empty.
bool ReadText(const cJSON& object, const char* name, std::string& text, std::string& fault) {
    text = TextOf(&object, name);
    if (text.empty()) {
        fault = std::string("\"") + name + "\" has to be a text that is not empty";
    }
    return !text.empty();
}

// False with a fault when the member is there and is no number of seconds. `seconds` stays without one, more
// than `most` count as these.
bool ReadSeconds(const cJSON& object, const char* name, double most, std::optional<double>& seconds,
                 std::string& fault) {
    const cJSON* const member = Member(object, name);
    if (member == nullptr) {
        return true;
    }
    if (!cJSON_IsNumber(member) || !(member->valuedouble >= 0)) {
        fault = std::string("\"") + name + "\" has to be a number of seconds";
        return false;
    }
    seconds = std::min(member->valuedouble, most);
    return true;
}

bool Fits(const char* opcode, const Secret& parameters, std::string& fault) {
    const size_t frame = OperationEnvelope(opcode, "").size();
    const bool fits = frame + parameters.Text().size() <= kLongestMessage;
    fault = fits ? "" : kTooLong;
    return fits;
}

bool ReadLogin(const cJSON& object, AgentRequest& request, std::string& fault) {
    const cJSON* const password = Member(object, AgentField::kPassword);
    if (Member(object, AgentField::kAccount) == nullptr && password == nullptr) {
        return true;
    }
    Account account;
    if (!ReadText(object, AgentField::kAccount, account.name, fault)) {
        return false;
    }
    if (!cJSON_IsString(password) || *password->valuestring == '\0') {
        fault = "\"password\" has to be a text that is not empty";
        return false;
    }
    account.password = Secret(password->valuestring);
    std::string parameters = LoginParameters(account.name, account.password.Text());
    const Secret guarded(parameters);
    Wipe(parameters);
    request.account = std::move(account);
    return Fits(ClientOperation::kConnect, guarded, fault);
}

bool ReadTicket(const cJSON& object, AgentRequest& request, std::string& fault) {
    return ReadText(object, AgentField::kTicket, request.ticket, fault) &&
           Fits(ClientOperation::kTerminalTerm, Secret(TicketParameter(request.ticket)), fault);
}

bool ReadSince(const cJSON& object, AgentRequest& request, std::string& fault) {
    std::optional<double> seconds;
    if (!ReadSeconds(object, AgentField::kSince, kLongestSince, seconds, fault)) {
        return false;
    }
    if (seconds.has_value()) {
        request.since = std::chrono::seconds(static_cast<int64_t>(*seconds));
    }
    return true;
}

// The members of an object as elements. Stops as soon as they are too long, for a list repeats its name: a
// short line could become a very long text.
class ParameterWriter {
  public:
    ParameterWriter() { m_text.reserve(kRoom); }
    ~ParameterWriter() { Wipe(m_text); }
    ParameterWriter(const ParameterWriter&) = delete;
    ParameterWriter& operator=(const ParameterWriter&) = delete;

    bool WriteMembers(const cJSON& object, int depth) {
        if (depth > kDeepestParameters) {
            return Refuse("the parameters are nested too deeply");
        }
        const cJSON* member = nullptr;
        cJSON_ArrayForEach(member, &object) {
            if (!IsMarkupName(member->string)) {
                return Refuse("a name within the parameters cannot be one of an element");
            }
            if (!WriteMember(*member, depth)) {
                return false;
            }
        }
        return true;
    }
    Secret Result() const { return Secret(m_text); }
    const char* Fault() const { return m_fault; }

  private:
    static constexpr size_t kLongestEscape = 6;
    static constexpr size_t kRoom =
        kLongestMessage + kLongestEscape * kLongestRequest;  // it never grows beyond, and so leaves no copy

    bool Refuse(const char* fault) {
        m_fault = fault;
        return false;
    }

    bool WriteMember(const cJSON& member, int depth) {
        if (!cJSON_IsArray(&member)) {
            return WriteElement(member.string, member, depth);
        }
        const cJSON* item = nullptr;
        cJSON_ArrayForEach(item, &member) {
            if (cJSON_IsArray(item)) {
                return Refuse("a list within a list has no form in the parameters");
            }
            if (!WriteElement(member.string, *item, depth)) {
                return false;
            }
        }
        return true;
    }

    bool WriteElement(std::string_view name, const cJSON& value, int depth) {
        m_text.append("<").append(name).append(">");
        if (!WriteContent(value, depth)) {
            return false;
        }
        m_text.append("</").append(name).append(">");
        return m_text.size() <= kLongestMessage || Refuse(kTooLong);
    }

    // Null is an element without content; numbers and truth values stand as in JSON.
    bool WriteContent(const cJSON& value, int depth) {
        if (m_text.size() > kLongestMessage) {
            return Refuse(kTooLong);
        }
        if (cJSON_IsObject(&value)) {
            return WriteMembers(value, depth + 1);
        }
        if (cJSON_IsString(&value)) {
            AppendEscaped(m_text, value.valuestring, 0);
        } else if (!cJSON_IsNull(&value)) {
            m_text += OneLine(value);
        }
        return true;
    }

    std::string m_text;
    const char* m_fault = "";
};

// Whom a client logs in by an operation of its own; none when it is not told by two texts.
std::optional<Account> AccountIn(const cJSON& parameters) {
    const cJSON* const password = Member(parameters, kPasswordElement);
    Account account;
    account.name = TextOf(&parameters, kUserElement);
    if (account.name.empty() || !cJSON_IsString(password) || *password->valuestring == '\0') {
        return std::nullopt;
    }
    account.password = Secret(password->valuestring);
    return account;
}

bool ReadOperation(const cJSON& object, AgentRequest& request, std::string& fault) {
    request.opcode = TextOf(&object, AgentField::kOpcode);
    if (!IsMarkupName(request.opcode)) {
        fault = "\"opcode\" has to be the name of an operation";
        return false;
    }
    const cJSON* const parameters = Member(object, AgentField::kParameters);
    if (!cJSON_IsObject(parameters)) {
        fault = "\"parameters\" has to be an object";
        return false;
    }
    ParameterWriter writer;
    if (!writer.WriteMembers(*parameters, 0)) {
        fault = writer.Fault();
        return false;
    }
    request.parameters = writer.Result();
    if (request.opcode == ClientOperation::kConnect) {
        request.account = AccountIn(*parameters);
    }
    return Fits(request.opcode.c_str(), request.parameters, fault);
}

bool HasNoFields(const cJSON& /*object*/, AgentRequest& /*request*/, std::string& /*fault*/) {
    return true;
}

// The operations and how the fields of each are read.
struct OperationRow {
    const char* name;
    bool (*read)(const cJSON& object, AgentRequest& request, std::string& fault);
};
constexpr OperationRow kOperations[] = {
    {AgentOp::kStatus, HasNoFields},        {AgentOp::kWatch, HasNoFields},
    {AgentOp::kLogin, ReadLogin},           {AgentOp::kLogout, HasNoFields},
    {AgentOp::kCheck, HasNoFields},         {AgentOp::kTerminals, HasNoFields},
    {AgentOp::kTerminalLogout, ReadTicket}, {AgentOp::kSend, ReadOperation},
    {AgentOp::kHistory, ReadSince},
};

bool ReadTimeout(const cJSON& object, AgentRequest& request, std::string& fault) {
    std::optional<double> seconds;
    if (!ReadSeconds(object, AgentField::kTimeout, kLongestWait, seconds, fault)) {
        return false;
    }
    if (seconds.has_value()) {
        request.timeout = std::chrono::milliseconds(std::llround(*seconds * 1000));
    }
    return true;
}

}  // namespace

bool ReadRequest(std::string_view line, AgentRequest& request, std::string& fault) {
    if (!IsUtf8(line) || HasNul(line)) {
        fault = "the line is not UTF-8, or has a NUL in it";
        return false;
    }
    const ParsedLine parsed(line);
    if (!parsed.IsObject()) {
        fault = "the line is no JSON object";
        return false;
    }
    const std::string name = TextOf(&parsed.Value(), AgentField::kOp);
    for (const OperationRow& row : kOperations) {
        if (name == row.name) {
            request.operation = row.name;
            return ReadTimeout(parsed.Value(), request, fault) && row.read(parsed.Value(), request, fault);
        }
    }
    fault = "\"op\" has to be the name of a request";
    return false;
}

RequestLines::~RequestLines() {
    Wipe(m_bytes);
}

size_t RequestLines::Room() const {
    return Line().has_value() ? 0 : kLongestRequest + 1 - m_bytes.size();
}

// Clients that send nothing cost no room.
void RequestLines::Add(std::string_view bytes) {
    m_bytes.reserve(kLongestRequest + 1);
    m_bytes.append(bytes.substr(0, Room()));
}

void RequestLines::End() {
    if (!m_bytes.empty() && m_bytes.back() != kLineEnd && !IsTooLong()) {
        m_bytes += kLineEnd;
    }
}

bool RequestLines::IsTooLong() const {
    return m_bytes.size() > kLongestRequest && !Line().has_value();
}

std::optional<std::string_view> RequestLines::Line() const {
    const size_t end = m_bytes.find(kLineEnd);
    return end == std::string::npos ? std::nullopt : std::optional(std::string_view(m_bytes).substr(0, end));
}

void RequestLines::Drop() {
    const size_t length = m_bytes.find(kLineEnd) + 1;
    const size_t rest = m_bytes.size() - length;
    memmove(m_bytes.data(), m_bytes.data() + length, rest);
    explicit_bzero(m_bytes.data() + rest, length);
    m_bytes.resize(rest);
}

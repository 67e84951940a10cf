#include "FrontEndMessages.h"

#include <initializer_list>

#include "Business.h"
#include "ClientOperations.h"
#include "MarkupText.h"
#include "XMLOpt.h"

namespace {

constexpr char kName[] = "client";  // signs what is sent
constexpr std::string_view kPlace = "%s";
constexpr size_t kLongestReference = 6;   // of one escaped character
constexpr char kOpenNetworkType[] = "0";  // INetConn::ET_UNKNOWN, as it stands in a report

enum class Form { kAsItStands, kEscaped };

// The format with each of its places taken by a text. The result grows only once: a password leaves no copy
// behind in memory that was given back.
std::string Filled(std::string_view format, Form form, std::initializer_list<std::string_view> texts) {
    size_t room = format.size();
    for (const std::string_view text : texts) {
        room += kLongestReference * text.size();
    }
    std::string filled;
    filled.reserve(room);
    for (const std::string_view text : texts) {
        const size_t place = format.find(kPlace);
        filled += format.substr(0, place);
        format.remove_prefix(place + kPlace.size());
        form == Form::kEscaped ? AppendEscaped(filled, text, 0) : (void)filled.append(text);
    }
    filled.append(format);
    return filled;
}

}  // namespace

Report::Report(const std::string& envelope) : text(envelope) {
    CXMLOpt document(envelope.c_str());
    source = document.GetValue(kSourcePath).GetText();
    target = document.GetValue(kTargetPath).GetText();
    opcode = document.GetValue(kOpcodePath).GetText();
    if (IsState()) {
        oldState = document.GetIntValue(kOldStatePath);
        newState = document.GetIntValue(kNewStatePath);
        errorCode = document.GetIntValue(kErrorCodePath);
    }
}

bool Report::IsState() const {
    return opcode == ClientReport::kNetState;
}

bool Report::IsOpenNetwork() const {
    return IsState() && newState == INetConn::ES_CONNECTED && Parameter("type") == kOpenNetworkType;
}

std::string Report::Parameter(const char* name) const {
    CXMLOpt document(text.c_str());
    return document.GetValue(CAutoString("P.") + name).GetText();
}

std::string OperationEnvelope(std::string_view opcode, std::string_view parameters) {
    return Filled(kEnvelopeFormat, Form::kAsItStands, {kName, kPortalBusiness, opcode, parameters});
}

std::string LoginParameters(std::string_view account, std::string_view password) {
    return Filled(kLoginFormat, Form::kEscaped, {account, password});
}

std::string ReasonParameter(std::string_view reason) {
    return Filled(kReasonFormat, Form::kEscaped, {reason});
}

std::string TicketParameter(std::string_view ticket) {
    return Filled(kTicketFormat, Form::kEscaped, {ticket});
}

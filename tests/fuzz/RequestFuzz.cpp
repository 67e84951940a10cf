// Takes whatever a client of the agent sends, in pieces, and ends the process when a line is counted wrongly
// or when what is accepted could not be handed to the service.
#include "FrontEndMessages.h"
#include "Fuzz.h"
#include "RequestReader.h"
#include "XMLOpt.h"

constexpr size_t kPiece = 7;

void Try(std::string_view input) {
    const std::string text = std::string(input) + "\n";
    std::string seen;
    RequestLines lines;
    for (size_t at = 0; at < text.size() && !lines.IsTooLong(); at += kPiece) {
        for (lines.Add(text.substr(at, kPiece)); lines.Line().has_value(); lines.Drop()) {
            seen.append(*lines.Line()).append("\n");
            AgentRequest request;
            std::string fault;
            const bool isRequest = ReadRequest(*lines.Line(), request, fault);
            const std::string envelope = OperationEnvelope(request.opcode, request.parameters.Text());
            Require(isRequest == fault.empty());
            Require(!isRequest || CXMLOpt(envelope.c_str()).IsWellFormed());
        }
    }
    Require(lines.IsTooLong() || seen == text);
}

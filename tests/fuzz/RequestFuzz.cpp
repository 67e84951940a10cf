// Takes whatever a client of the agent sends, in pieces, and ends the process when a line is counted wrongly
// or when what is accepted could not be handed to the service.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "FrontEndMessages.h"
#include "RequestReader.h"
#include "XMLOpt.h"

constexpr size_t kPiece = 7;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = std::string(reinterpret_cast<const char*>(data), size) + "\n";
    std::string seen;
    RequestLines lines;
    for (size_t at = 0; at < text.size() && !lines.IsTooLong(); at += kPiece) {
        for (lines.Add(text.substr(at, kPiece)); lines.Line().has_value(); lines.Drop()) {
            seen.append(*lines.Line()).append("\n");
            AgentRequest request;
            std::string fault;
            const bool isRequest = ReadRequest(*lines.Line(), request, fault);
            const std::string envelope = OperationEnvelope(request.opcode, request.parameters.Text());
            if (isRequest != fault.empty() || (isRequest && !CXMLOpt(envelope.c_str()).IsWellFormed())) {
                abort();
            }
        }
    }
    return lines.IsTooLong() || seen == text ? 0 : (abort(), 0);
}

// Takes the input for what one read of the FIFO brings. It is cut into messages, and each is handed on; then
// its lines, source, operation and text, travel in an envelope of their own and reach the operation unharmed.
#include "Business.h"
#include "ClientOperations.h"
#include "Fuzz.h"
#include "Server.h"

namespace {

struct Pipe : CPipeService {
    explicit Pipe(IPipeCallback& server) { m_pCallback = &server; }
    using CMsgEngine::m_MsgQueue;
    using CPipeService::QueueMessages;
};

// Keeps what reached it last.
struct Business : CBusiness {
    void InitOpcodeFun() override { m_OpcodeMap["Known"] = static_cast<OpcodeFun>(&Business::DealKnown); }
    void DealKnown(const char* source, CXMLOpt& document) {
        last = source + ("\n" + document.GetValue("P.t"));
    }
    void DefaultDeal(CXMLOpt& document) override { last = document.GetValue(kOpcodePath); }
    CAutoString last;
};

}  // namespace

void Try(std::string_view input) {
    static CServer server;
    static Pipe pipe(server);
    static Business business;
    business.InitService(&server);
    server.RegisterBusiness(kPortalBusiness, &business);
    pipe.QueueMessages(input.data(), input.size());
    for (; !pipe.m_MsgQueue.empty(); pipe.m_MsgQueue.pop_front()) {
        const std::string message = Take(input, '\0');
        Require(pipe.m_MsgQueue.front() == message.c_str());
        pipe.DoMessage(message);
        std::string_view lines = message;
        const CAutoString source = Take(lines);
        const CAutoString opcode = Take(lines);
        const CAutoString text = Take(lines, '\0');
        pipe.DoMessage("<M><OpT>Portal</OpT><OpS>" + CMarkup::EscapeText(source) + "</OpS><OpC>" +
                       CMarkup::EscapeText(opcode) + "</OpC><P><t>" + CMarkup::EscapeText(text) +
                       "</t></P></M>");
        Require(business.last == (opcode == "Known" ? source + "\n" + text : opcode));
    }
    Require(input.find('\0') == std::string_view::npos);
}

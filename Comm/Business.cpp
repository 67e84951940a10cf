#include "Business.h"

void CBusiness::InitService(IServer* server) {
    m_pService = server;
    InitOpcodeFun();
}

void CBusiness::DealMsg(const char* text) {
    CXMLOpt document(text);
    if (!document.IsWellFormed()) {
        return;
    }
    const CAutoString source = document.GetValue(kSourcePath);
    const auto operation = m_OpcodeMap.find(document.GetValue(kOpcodePath));
    if (operation != m_OpcodeMap.end()) {
        (this->*operation->second)(source, document);
    } else {
        DefaultDeal(document);
    }
}

void CBusiness::ServerStatus(int /*code*/) {}

void CBusiness::DefaultDeal(CXMLOpt& /*document*/) {}

void CBusiness::InitOpcodeFun() {}

void CBusiness::PostMsg(const char* source, const char* target, const char* opcode, const char* parameters) {
    if (source == nullptr || target == nullptr || opcode == nullptr || parameters == nullptr ||
        m_pService == nullptr) {
        return;
    }
    CAutoString envelope;
    envelope.Format(kEnvelopeFormat, source, target, opcode, parameters);
    m_pService->PostMessage(envelope);
}

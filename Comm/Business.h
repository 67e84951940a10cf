#pragma once

#include <map>

#include "AutoString.h"
#include "IServer.h"
#include "XMLOpt.h"

// The message between the service and its front ends: source, target, operation code and parameters, in this
// order. The parameters are a piece of XML and go in as they stand. The name of the root is never looked at.
constexpr char kEnvelopeFormat[] = "<M><OpS>%s</OpS><OpT>%s</OpT><OpC>%s</OpC><P>%s</P></M>";

// Where an envelope holds them.
constexpr char kSourcePath[] = "OpS";
constexpr char kTargetPath[] = "OpT";
constexpr char kOpcodePath[] = "OpC";

// A business as the message server sees it.
class IBusiness {
  public:
    virtual void InitService(IServer* server) = 0;
    // One envelope addressed to this business, on the message thread of the pipe.
    virtual void DealMsg(const char* text) = 0;
    // The link to the front end has failed; `code` is -1. Comes on the main thread, after the last DealMsg.
    virtual void ServerStatus(int code) = 0;

  protected:
    ~IBusiness() = default;
};

// Base of the businesses: hands each envelope to the handler of its operation code. InitService is called
// once, before any envelope arrives; after that the base holds nothing that changes, and PostMsg is free to
// all threads.
class CBusiness : public IBusiness {
  public:
    // `source` is the sender's name, to which a reply is addressed; it and the document live as long as the
    // call.
    using OpcodeFun = void (CBusiness::*)(const char* source, CXMLOpt& document);

    // Keeps `server` (not owned) and lets the derived class fill its table of operations.
    void InitService(IServer* server) override;
    // Drops what is not well formed; an operation that is not in the table reaches DefaultDeal.
    void DealMsg(const char* text) override;
    void ServerStatus(int code) override;
    virtual void DefaultDeal(CXMLOpt& document);
    // Fills m_OpcodeMap.
    virtual void InitOpcodeFun();
    virtual ~CBusiness() = default;

    // Sends an envelope. Nothing is sent when a part is null (an empty one is fine) or without a server.
    void PostMsg(const char* source, const char* target, const char* opcode, const char* parameters);

    // Not used by the service.
    // For others than the derived business, which has m_pService.
    IServer* GetServer() const { return m_pService; }

  protected:
    IServer* m_pService = nullptr;
    std::map<CAutoString, OpcodeFun> m_OpcodeMap;
};

#pragma once

#include <map>

#include "AutoString.h"
#include "IServer.h"
#include "XMLOpt.h"

class IBusiness {
  public:
    virtual void InitService(IServer* server) = 0;
    virtual void DealMsg(const char* text) = 0;
    virtual void ServerStatus(int code) = 0;

  protected:
    ~IBusiness() = default;
};

class CBusiness : public IBusiness {
  public:
    using OpcodeFun = void (CBusiness::*)(const char* source, CXMLOpt& document);

    virtual ~CBusiness() = default;
    void InitService(IServer* server) override;
    void DealMsg(const char* text) override;
    void ServerStatus(int code) override;
    virtual void DefaultDeal(CXMLOpt& document);
    virtual void InitOpcodeFun();
    void PostMsg(const char* source, const char* target, const char* opcode, const char* parameters);
    IServer* GetServer() const;

  protected:
    IServer* m_pService = nullptr;
    std::map<CAutoString, OpcodeFun> m_OpcodeMap;
};

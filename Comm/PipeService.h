#pragma once

#include "MsgEngine.h"

class IPipeCallback {
  public:
    virtual void DoWorkOnPipe(CAutoString text) = 0;

  protected:
    ~IPipeCallback() = default;
};

class CPipeService : public CMsgEngine {
  public:
    CPipeService() = default;
    ~CPipeService() override;
    int CreateNamedPipeInServer(const char* name, IPipeCallback* callback);
    int OpenNamePipeServer(const char* clientName);
    int OpenNamePipeClient(const char* clientName);
    int LoopMsg();
    int WritePipe(const char* text);
    void DoMessage(CAutoString text) override;
    void Disconnect();
};

#pragma once

#include <map>

#include "AutoString.h"
#include "IServer.h"
#include "PipeService.h"

// The message server: hands each envelope from the pipe to the business that it is addressed to, and sends
// the businesses' envelopes to the front end on the pipe and to the console client. The businesses are not
// owned and outlive the server; all of them are registered before DoWork, and the table stays as it is from
// then on.
//
// Lives on the main thread's stack. Its message thread has left before it dies: DoWork and, should it never
// have run, the destructor of the pipe wait for that. Who else posts messages has to end before.
class CServer final : public IPipeCallback, public IServer {
  public:
    // Creates the outgoing FIFO. 0, or -1 when it exists already, which is as good, or cannot be created,
    // which connecting tells.
    int CreateServer(const char* name);
    // Opens the outgoing FIFO and the incoming one, `name`; returns when a front end has opened both. 0, or
    // -1 when the outgoing FIFO cannot be opened.
    int ConnectToServer(const char* name);
    // Serves messages until the link fails, then tells the businesses. Always 0.
    int DoWork();

    // Drops what is not well formed or has no known target. Everything except a login goes to the log.
    void DoWorkOnPipe(CAutoString text) override;
    void RegisterBusiness(const char* name, IBusiness* business) override;
    void PostMessage(const char* text) override;
    CInfoCenter* GetInfoCenter() override;
    // Tells every business that the link to the front end has ended with `code`.
    void ServerStatus(int code);

  private:
    // Before the pipe, so that it is still there when the pipe's message thread handles its last envelope.
    std::map<CAutoString, IBusiness*> m_BusinessMap;
    CPipeService m_pipeSvr;
};

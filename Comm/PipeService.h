#pragma once

#include <atomic>

#include "MsgEngine.h"

// Receives what arrives on the pipe.
class IPipeCallback {
  public:
    // One message, on the pipe's message thread. The text is whatever the other side wrote.
    virtual void DoWorkOnPipe(CAutoString text) = 0;

  protected:
    ~IPipeCallback() = default;
};

// One end of the link between the service and a front end: two FIFOs in the working directory, one for each
// direction. The service creates "serverpipe", writes it and reads "clientpipe"; the front end does the
// reverse. Owns both descriptors and its outgoing FIFO.
//
// A message is a text and its NUL, nothing else. It must arrive whole within one read of 4096 bytes, which a
// writer ensures by sending it with one write while the other side keeps up; longer messages are lost.
//
// One thread sets the link up and then stays in LoopMsg. Writing is free to all threads.
class CPipeService : public CMsgEngine {
  public:
    // Sees to it that a write without a reader fails instead of ending the process, if the program has not
    // already decided about SIGPIPE itself.
    CPipeService();
    // Removes the outgoing FIFO.
    ~CPipeService() override;

    // Names the outgoing FIFO and creates it, mode 0600. `name` is not copied; `callback` (not owned) may be
    // null. 0, or -1 when it cannot be created or something of that name exists, which is left as it is: a
    // FIFO of an earlier run is used again.
    int CreateNamedPipeInServer(const char* name, IPipeCallback* callback);
    // Opens the outgoing FIFO, then `clientName` for reading, each of which waits for the other side; a FIFO
    // that is missing is looked for once a second, without end. 0, or -1 when the outgoing one cannot be
    // opened.
    int OpenNamePipeServer(const char* clientName);
    // The same for a front end, in the order that meets the service's: `clientName` (the service's outgoing
    // FIFO) for reading, then the own outgoing FIFO.
    int OpenNamePipeClient(const char* clientName);
    // Receives messages and queues them for the message thread until a read fails; the other side closing its
    // end is no failure. Returns -1 when the message thread has ended.
    int LoopMsg();
    // Sends `text` with one write. 1, or 0 when the message is lost: the link is not open (which is silent)
    // or the write fails (which is printed).
    int WritePipe(const char* text);
    // Hands the message to the callback.
    void DoMessage(CAutoString text) override;
    // Does nothing: the link lasts as long as the object.
    void Disconnect() {}

  protected:
    int OpenOutgoing();
    void OpenIncoming(const char* name);
    void QueueMessages(const char* bytes, size_t count);

    // Fixed once the link is set up.
    IPipeCallback* m_pCallback = nullptr;
    const char* m_pipeName = nullptr;         // the outgoing FIFO
    int m_fdServer = -1;                      // the outgoing FIFO
    int m_fdClient = -1;                      // the incoming FIFO
    std::atomic<bool> m_bIsopenPipe = false;  // set last: whoever sees it may write to m_fdServer

    MutexLock m_pipeLock;  // held by set-up and by each write
};

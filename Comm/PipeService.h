#pragma once

#include <chrono>
#include <cstddef>

#include "MsgEngine.h"

// Receives what arrives on the pipe.
class IPipeCallback {
  public:
    // One message, on the pipe's message thread. The text is whatever the other side wrote.
    virtual void DoWorkOnPipe(CAutoString text) = 0;

  protected:
    ~IPipeCallback() = default;
};

// One end of the link between the service and a front end: two FIFOs in the working folder, one for each
// direction. The service creates "serverpipe", writes it and reads "clientpipe"; the front end does the
// reverse. Owns both descriptors and its outgoing FIFO.
//
// A message is a text and its NUL, nothing else. Towards the service it must arrive whole within one read of
// 4096 bytes, which a writer ensures by sending it with one write while the service keeps up; longer messages
// are lost. The service's own messages may be longer.
//
// One thread sets the link up and then stays in LoopMsg. Writing is free to all threads.
class CPipeService : public CMsgEngine {
  public:
    // Sees to it that a write without a reader fails instead of ending the process, if the program has not
    // already decided about SIGPIPE itself.
    CPipeService();
    // Removes the outgoing FIFO, but nothing else that has its name.
    ~CPipeService() override;

    // Names the outgoing FIFO and creates it, mode 0600. `name` is not copied; `callback` (not owned) may be
    // null. 0, or -1 when it cannot be created or something of that name exists, which is left as it is: a
    // FIFO of an earlier run is used again.
    int CreateNamedPipeInServer(const char* name, IPipeCallback* callback);
    // Opens the outgoing FIFO, then `clientName` for reading, each of which waits for the other side; a FIFO
    // that is missing, or a plain file in its place, is looked at again once a second, without end. 0, or -1
    // when the outgoing one cannot be opened. A plain file or a link is refused and told on standard error.
    int OpenNamePipeServer(const char* clientName);
    // Receives messages and queues them for the message thread until a read fails; the other side closing its
    // end is no failure. Reads no further while too many wait. Returns -1 when the message thread has ended.
    int LoopMsg();
    // Sends `text`. 1, or 0 when the message is lost: the link is not open (which is silent) or the write
    // fails (which is printed). Waits for a full FIFO for one second at most, and not again until the other
    // side has read on. The other side finds a message of up to PIPE_BUF bytes whole or not at all; a longer
    // one may be cut short there.
    int WritePipe(const char* text);
    // Hands the message to the callback.
    void DoMessage(CAutoString text) override;
    // Removes the FIFO `name`, and nothing else that has the name.
    static void RemoveFifo(const char* name);

    // Not used by the service.
    // The front end's way to set up the link, in the order that meets the service's: opens `clientName` (the
    // service's outgoing FIFO) for reading, then the own outgoing FIFO. As OpenNamePipeServer otherwise.
    int OpenNamePipeClient(const char* clientName);
    // Does nothing: the link lasts as long as the object.
    void Disconnect() {}
    int m_lastErrCode = 0;  // kept for a derived class; no operation sets it

  protected:
    using TimePoint = std::chrono::steady_clock::time_point;

    int OpenOutgoing();
    void OpenIncoming(const char* name);
    void QueueMessages(const char* bytes, size_t count);
    void LetHandlerCatchUp();
    // The steps of a write, with m_pipeLock held. Each returns whether all went out; errno tells why not.
    bool Send(const char* bytes, size_t size);
    bool EndTornMessage(TimePoint end);
    bool SendMessage(const char* bytes, size_t size, TimePoint end);

    // Fixed once the link is set up.
    IPipeCallback* m_pCallback = nullptr;
    const char* m_pipeName = nullptr;  // the outgoing FIFO
    int m_fdServer = -1;               // the outgoing FIFO; guarded by m_pipeLock
    int m_fdClient = -1;               // the incoming FIFO
    bool m_bIsopenPipe = false;        // whether messages go out, read without the lock (RelaxedAccess.h)

    MutexLock m_pipeLock;      // held by set-up and by each write
    bool m_isStalled = false;  // the last write gave up on a full FIFO; guarded by m_pipeLock
    bool m_isTorn = false;     // the last message lacks its end; guarded by m_pipeLock
};

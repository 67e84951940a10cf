#pragma once

#include <deque>

#include "AutoString.h"
#include "ptlock.h"

// A queue of messages and the one thread that hands them to DoMessage, in order and one at a time. Messages
// may be added from any thread at any time; those that wait while the engine is stopped are handled after its
// next start. An engine may be started and stopped from any one thread at a time.
//
// By itself the thread polls without a pause: a running engine costs one busy processor core and takes each
// message at once. Set to wait, it costs nothing while there is no message, and takes the next one within a
// millisecond. Everything else is the same.
class CMsgEngine {
  public:
    CMsgEngine() = default;
    CMsgEngine(const CMsgEngine&) = delete;
    CMsgEngine& operator=(const CMsgEngine&) = delete;

    // Whether the engines of this process wait for their next message instead of polling. To be called while
    // none runs.
    static void SetWaiting(bool isWaiting) { m_bWaiting = isWaiting; }

    // Handles one message, on the engine's thread.
    virtual void DoMessage(CAutoString message) = 0;
    // A class whose objects die calls WaitMsgEngineEnd first thing in its own destructor: once that has run,
    // DoMessage no longer leads anywhere.
    virtual ~CMsgEngine() = default;

    void AddMessage(CAutoString message);
    // Does nothing while the engine runs. Waits for as long as the machine refuses a thread and nobody stops
    // the engine: messages that nobody handles would look like a service that has nothing to say. Started
    // again before the old thread has noticed the stop, the engine has two threads, and messages may overtake
    // each other.
    void StartMsgEngine();
    // Returns at once; a message that is being handled is still finished.
    void StopMsgEngine();

    // Waits for the next message. False when the engine is stopped; `out` is then untouched.
    bool GetMessage(CAutoString& out);
    // The body of the engine's thread.
    static void* DealMessageThread(void* engine);

  protected:
    // Stops the engine and waits until no thread of it is left. Not to be called from DoMessage.
    void WaitMsgEngineEnd();

    std::deque<CAutoString> m_MsgQueue;  // guarded by m_msgLock
    int m_threadCount = 0;               // threads that have not left yet; guarded by m_msgLock
    MutexLock m_msgLock;
    // Whether the thread is to run. Written by whoever starts and stops, read by the engine's thread without
    // a lock (RelaxedAccess.h): it does no harm to notice a stop one turn late. Cleared with m_msgLock held,
    // so that no stop falls between a waiting thread's last look and its wait.
    bool m_Running = false;

  private:
    bool TakeFirst(CAutoString& out);
    void AwaitChange();
    bool HasThread();
    void CountThread(int change);

    static bool m_bWaiting;   // fixed while an engine runs
    LockCondition m_changed;  // with m_msgLock: a message has come, or the engine is to stop
};

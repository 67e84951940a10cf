#pragma once

#include <pthread.h>

#include <ctime>

// One thread that can be started, asked to end and waited for, again and again. The body polls a run flag
// that it shares with this object, through ReadRelaxed. One thread at a time uses an object, never the thread
// that it started.
class CSimpleThread {
  public:
    using ThreadStart = void* (*)(void*);

    // Between two tries to start a thread: a machine that has none left needs a while.
    static constexpr unsigned int kRefusedRestMs = 1000;

    // Sets `*runFlag` (not owned, may be null) and starts `start(argument)`. False when that fails or when
    // the previous thread still runs; a thread that was only asked to end then goes on, for its flag is set
    // again.
    bool Run(ThreadStart start, void* argument, bool* runFlag);
    // The same, but asks again, once a second, for as long as the machine refuses a thread. False only when
    // the previous thread still runs.
    bool RunWhenAllowed(ThreadStart start, void* argument, bool* runFlag);
    // Clears the run flag.
    void Stopping();
    // Clears the run flag and waits for the thread. True when it has ended, also when none was ever started.
    // Otherwise false or, with `kill`, true after signal 9, which ends the whole process.
    // The wait lasts `timeoutMs` only while that stays within the current second of the clock; a deadline
    // beyond it, as every time-out of a second or more has, fails at once.
    bool Stop(long timeoutMs, bool kill);

  private:
    bool JoinEnded();
    bool JoinUntil(const timespec& deadline);

    pthread_t m_threadId = 0;  // 0 while there is no thread to join
    // The flag is plain, and the body reads it without a lock (RelaxedAccess.h): it sees a change at its next
    // look, which is all it needs.
    bool* m_pbRunCtrl = nullptr;
};

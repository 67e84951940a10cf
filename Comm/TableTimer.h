#pragma once

#include <ctime>
#include <list>
#include <memory>

#include "AutoString.h"
#include "SimpleThread.h"
#include "ptlock.h"

// One entry of the timer.
struct TaskInfo {
    int m_timeId = 0;   // what it is for; at most one entry of an id is armed
    int m_type = 1;     // CTableTimer::kPeriodic, or anything else for an entry that fires once
    time_t m_time = 0;  // when it is due, seconds since the epoch
    long m_dual = 0;    // interval in seconds
    bool m_doing = false;
    bool m_toDo = false;  // due at once when it is armed next; cleared by that
    CAutoString m_strTag;
};

// Calls its owner back when armed entries fall due. One thread looks every 500 ms, so an entry fires up to
// half a second late; times are whole seconds of the wall clock, and entries keep their distance when it is
// set back. All list operations may be called from any thread, also from a callback.
//
// Callbacks run on the timer's thread while it holds the list's lock, so they must not wait for anybody who
// may be using the timer.
class CTableTimer {
  public:
    static constexpr int kPeriodic = 0;
    static constexpr int kOneShot = 1;

    CTableTimer() = default;
    // Waits for the thread.
    virtual ~CTableTimer();
    CTableTimer(const CTableTimer&) = delete;
    CTableTimer& operator=(const CTableTimer&) = delete;

    // What the entry of that id is for. The thread calls the long form.
    virtual void DoTimeTask(int timeId);
    virtual void DoTimeTask(int timeId, CAutoString& tag);

    // Arms an entry that is due in `dual` seconds, or at once with `toDo`. While an entry of that id is
    // armed, `replace` decides: true puts the new one in its place, false leaves it as it is.
    void AddTask(int timeId, int type, bool toDo, long dual, bool replace);
    void AddTask(int timeId, int type, bool toDo, long dual, bool replace, const CAutoString& tag);
    // The same for an entry made by the caller. Takes ownership of `entry`, also when it is not armed. The
    // armed entry itself may be handed in again: it is armed anew with `replace` and else stays as it is.
    void ReAddTask(TaskInfo* entry, bool replace);
    void RemoveTask(int timeId);
    void ClearTask();
    // Starts or stops the thread; a stop discards every armed entry when the thread ends. Returns whether the
    // thread was started or has ended; a stop may return while the thread still runs (see
    // CSimpleThread::Stop).
    bool DispatchTask(bool start);
    // The body of the thread.
    void TaskDispatch();

    // Not used by the service.
    // Whether an entry of that id is armed.
    bool IsExistTask(int timeId);

  protected:
    // Stops the thread and returns when it has ended. A derived class calls it first in its destructor, since
    // the callbacks use its members.
    void WaitDispatchEnd();

  private:
    using TaskList = std::list<std::unique_ptr<TaskInfo>>;

    static void* TaskDispatchThread(void* timer);
    bool FireFirstDue();
    // These three are for whoever holds m_taskLock.
    TaskList::iterator FindTask(int timeId);
    void Insert(std::unique_ptr<TaskInfo> entry);
    time_t Now();

    TaskList m_TaskList;      // by due time, ascending; guarded by m_taskLock
    time_t m_lastNow = 0;     // the time seen last; guarded by m_taskLock
    bool m_bWorking = false;  // run flag of the thread, read without a lock (RelaxedAccess.h)
    MutexLock m_taskLock;
    CSimpleThread m_threadObject;

    // Not used by the service.
    // The handle of a thread, beside the one that m_threadObject keeps.
    [[maybe_unused]] pthread_t m_thread = 0;
};

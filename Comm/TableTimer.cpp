#include "TableTimer.h"

#include <algorithm>
#include <limits>

#include "RelaxedAccess.h"
#include "comm.h"
#include "guard.h"

namespace {

constexpr unsigned int kPollMs = 500;  // half of the resolution that the entries have
constexpr long kStopWaitMs = 500;      // one poll
constexpr unsigned int kEndPollMs = 10;

// Intervals come from the portal; one beyond the end of time is never due.
time_t AfterInterval(time_t now, long seconds) {
    time_t due = 0;
    return __builtin_add_overflow(now, seconds, &due) ? std::numeric_limits<time_t>::max() : due;
}

}  // namespace

CTableTimer::~CTableTimer() {
    WaitDispatchEnd();
}

void CTableTimer::WaitDispatchEnd() {
    while (!DispatchTask(false)) {
        Sleep(kEndPollMs);
    }
}

void CTableTimer::DoTimeTask(int /*timeId*/) {}

void CTableTimer::DoTimeTask(int /*timeId*/, CAutoString& /*tag*/) {}

void CTableTimer::AddTask(int timeId, int type, bool toDo, long dual, bool replace) {
    AddTask(timeId, type, toDo, dual, replace, CAutoString());
}

void CTableTimer::AddTask(int timeId, int type, bool toDo, long dual, bool replace, const CAutoString& tag) {
    auto entry = std::make_unique<TaskInfo>();
    entry->m_timeId = timeId;
    entry->m_type = type;
    entry->m_time = time(nullptr);
    entry->m_dual = dual;
    entry->m_toDo = toDo;
    entry->m_strTag = tag;
    ReAddTask(entry.release(), replace);
}

void CTableTimer::ReAddTask(TaskInfo* entry, bool replace) {
    CLockGuard<GLockObj> guard(m_taskLock);
    const auto armed = FindTask(entry->m_timeId);
    // What is handed in may be the armed entry itself, which has an owner already.
    const bool isArmedItself = armed != m_TaskList.end() && armed->get() == entry;
    std::unique_ptr<TaskInfo> owned(isArmedItself ? nullptr : entry);
    if (armed != m_TaskList.end()) {
        if (!replace) {
            return;
        }
        if (isArmedItself) {
            owned = std::move(*armed);
        }
        m_TaskList.erase(armed);
    }
    Insert(std::move(owned));
}

void CTableTimer::Insert(std::unique_ptr<TaskInfo> entry) {
    const time_t now = Now();
    entry->m_time = entry->m_toDo ? now : AfterInterval(now, entry->m_dual);
    entry->m_toDo = false;
    // In front of the entries of the same second: the one armed last fires first.
    // Held by TableTimer.EntriesOfOneSecondFireLastArmedFirst.
    const auto place = std::find_if(m_TaskList.begin(), m_TaskList.end(),
                                    [&](const auto& other) { return other->m_time >= entry->m_time; });
    m_TaskList.insert(place, std::move(entry));
}

// When the clock is set back the entries go along with it, or pulses would stop for as long as the step.
// Held by TableTimer.EntriesGoAlongWithAClockThatIsSetBack.
time_t CTableTimer::Now() {
    const time_t now = time(nullptr);
    if (now < m_lastNow) {
        for (const auto& entry : m_TaskList) {
            entry->m_time = AfterInterval(entry->m_time, now - m_lastNow);
        }
    }
    m_lastNow = now;
    return now;
}

void CTableTimer::RemoveTask(int timeId) {
    CLockGuard<GLockObj> guard(m_taskLock);
    const auto armed = FindTask(timeId);
    if (armed != m_TaskList.end()) {
        m_TaskList.erase(armed);
    }
}

void CTableTimer::ClearTask() {
    CLockGuard<GLockObj> guard(m_taskLock);
    m_TaskList.clear();
}

bool CTableTimer::IsExistTask(int timeId) {
    CLockGuard<GLockObj> guard(m_taskLock);
    return FindTask(timeId) != m_TaskList.end();
}

CTableTimer::TaskList::iterator CTableTimer::FindTask(int timeId) {
    return std::find_if(m_TaskList.begin(), m_TaskList.end(),
                        [timeId](const auto& entry) { return entry->m_timeId == timeId; });
}

bool CTableTimer::DispatchTask(bool start) {
    return start ? m_threadObject.RunWhenAllowed(TaskDispatchThread, this, &m_bWorking)
                 : m_threadObject.Stop(kStopWaitMs, false);
}

void* CTableTimer::TaskDispatchThread(void* timer) {
    static_cast<CTableTimer*>(timer)->TaskDispatch();
    return nullptr;
}

void CTableTimer::TaskDispatch() {
    while (ReadRelaxed(m_bWorking)) {
        if (!FireFirstDue()) {
            Sleep(kPollMs);
        }
    }
    ClearTask();
}

bool CTableTimer::FireFirstDue() {
    CLockGuard<GLockObj> guard(m_taskLock);
    const time_t now = Now();
    if (m_TaskList.empty() || m_TaskList.front()->m_time > now) {
        return false;
    }
    std::unique_ptr<TaskInfo> entry = std::move(m_TaskList.front());
    m_TaskList.pop_front();
    // Once armed again the entry may die within the callback, which may remove it.
    const int timeId = entry->m_timeId;
    CAutoString tag = entry->m_strTag;
    if (entry->m_type == kPeriodic) {
        ReAddTask(entry.release(), true);
    }
    DoTimeTask(timeId, tag);
    return true;
}

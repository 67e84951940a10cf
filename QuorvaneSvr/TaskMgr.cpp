#include "TaskMgr.h"

#include <algorithm>

#include "guard.h"

namespace QuorvaneSvr {

void CTaskMgr::AddTask(Task& task) {
    CLockGuard<GLockObj> guard(m_taskLock, RWLock::kShared);
    m_taskList.Append(task);
}

bool CTaskMgr::GetTask(Task& task) {
    CLockGuard<GNothing> guard(m_taskLock);
    return m_taskList.TakeNext(task);
}

void CTaskMgr::RemoveTask(TaskItem item) {
    CLockGuard<GNothing> guard(m_taskLock);
    m_taskList.Remove(item);
}

void CTaskMgr::RemoveAllTask() {
    CLockGuard<GNothing> guard(m_taskLock);
    m_taskList.Clear();
}

void TaskList::Append(const Task& task) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_tasks.push_back(task);
}

bool TaskList::TakeNext(Task& task) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    const auto next = std::max_element(m_tasks.begin(), m_tasks.end(),
                                       [](const Task& a, const Task& b) { return a.level < b.level; });
    if (next == m_tasks.end()) {
        return false;
    }
    task = std::move(*next);
    m_tasks.erase(next);
    return true;
}

void TaskList::Remove(TaskItem item) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    const auto isOfItem = [item](const Task& task) { return task.curTask == item; };
    m_tasks.erase(std::remove_if(m_tasks.begin(), m_tasks.end(), isOfItem), m_tasks.end());
}

void TaskList::Clear() {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_tasks.clear();
}

}  // namespace QuorvaneSvr

#include "TaskMgr.h"

#include "guard.h"

namespace QuorvaneSvr {

namespace {

constexpr size_t kUsualTasks = 1024;  // far more than ever wait: a dozen kinds, each queued a few times
constexpr int kShared = 0;            // mode of an RWLock

}  // namespace

CTaskMgr::CTaskMgr() {
    m_taskList.reserve(kUsualTasks);
}

void CTaskMgr::AddTask(Task& task) {
    CLockGuard<GLockObj> guard(m_taskLock, kShared);
    m_taskList.push_back(task);
}

bool CTaskMgr::GetTask(Task& task) {
    CLockGuard<GNothing> guard(m_taskLock);
    if (m_taskList.empty()) {
        return false;
    }
    size_t best = 0;
    for (size_t i = 1; i < m_taskList.size(); ++i) {
        if (m_taskList[i].level > m_taskList[best].level) {
            best = i;
        }
    }
    task = m_taskList[best];
    m_taskList.erase(m_taskList.begin() + static_cast<std::ptrdiff_t>(best));
    return true;
}

void CTaskMgr::RemoveTask(TaskItem item) {
    CLockGuard<GNothing> guard(m_taskLock);
    for (size_t i = m_taskList.size(); i-- > 0;) {
        if (m_taskList[i].curTask == item) {
            m_taskList.erase(m_taskList.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}

void CTaskMgr::RemoveAllTask() {
    CLockGuard<GNothing> guard(m_taskLock);
    m_taskList.clear();
}

}  // namespace QuorvaneSvr

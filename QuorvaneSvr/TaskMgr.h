#pragma once

#include <vector>

#include "AutoString.h"
#include "ptlock.h"

namespace QuorvaneSvr {

enum TaskItem : int {
    noTask = 0,
    checkNet = 1,
    checkUnknowNet = 2,
    reqConfig = 3,
    reqTicket = 4,
    reqState = 5,
    auth = 6,
    term = 7,
    pluse = 8,
    checkWifi = 9,
    termForWifi = 10,
    terminal = 11,
    terminalTerm = 12,
    keepPort = 13,
    trafficStatistics = 14
};

enum TaskLevel : int { low = 0, normal = 1, high = 2, mostHigh = 3 };

struct Task {
    TaskItem curTask = noTask;
    TaskItem nextTask = noTask;
    TaskLevel level = normal;
    CAutoString tag;
};

class CTaskMgr {
  public:
    void AddTask(Task& task);
    bool GetTask(Task& task);
    void RemoveTask(TaskItem item);
    void RemoveAllTask();

  private:
    std::vector<Task> m_taskList;
    RWLock m_taskLock;
};

}  // namespace QuorvaneSvr

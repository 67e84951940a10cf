#pragma once

#include <mutex>
#include <vector>

#include "AutoString.h"
#include "ptlock.h"

namespace QuorvaneSvr {

// The steps of the portal business. The numbers are also the ids of the timer entries that queue them.
enum TaskItem : int {
    noTask = 0,              // nothing; as the next task: no step follows
    checkNet = 1,            // probe the network, discover the portal
    checkUnknowNet = 2,      // probe an environment whose kind is not known yet
    reqConfig = 3,           // fetch the authentication configuration
    reqTicket = 4,           // obtain a ticket
    reqState = 5,            // poll the state of the session
    auth = 6,                // log in with account and password
    term = 7,                // log out
    pluse = 8,               // keep-alive pulse
    checkWifi = 9,           // check whether the connection is shared
    termForWifi = 10,        // log out because it is
    terminal = 11,           // fetch the data of the user's other terminals
    terminalTerm = 12,       // log another terminal out
    keepPort = 13,           // no step; taken and ignored
    trafficStatistics = 14,  // upload a statistics record
    taskCount                // stays the last: the number of steps, this one not among them
};

// What is taken first; a larger value goes ahead.
enum TaskLevel : int { low = 0, normal = 1, high = 2, mostHigh = 3 };

// One step that waits for the work thread.
struct Task {
    TaskItem curTask = noTask;
    TaskItem nextTask = noTask;  // run straight after curTask, without a way through the queue
    TaskLevel level = normal;
    CAutoString tag;  // for the handler: the client's envelope, the timer's tag or empty
};

// Tasks in order of arrival, and the mutex that keeps them whole. Free to all threads.
class TaskList {
  public:
    void Append(const Task& task);
    // Takes the first one of the highest level into `task`. False when there is none.
    bool TakeNext(Task& task);
    // Drops every task whose current step is `item`.
    void Remove(TaskItem item);
    void Clear();

  private:
    std::mutex m_mutex;         // held for the few instructions of each operation
    std::vector<Task> m_tasks;  // guarded by m_mutex
};

// The queue of the work thread: takes the highest level first and, within a level, what arrived first. The
// same step may wait in it any number of times, and any number of steps. Any thread adds and removes; one
// thread, the work thread, takes.
//
// m_taskLock excludes nobody: AddTask takes it shared and the others only name it. The list's own mutex keeps
// the tasks whole.
class CTaskMgr {
  public:
    // Queues a copy of `task`.
    void AddTask(Task& task);
    // Takes the next task into `task`. False at once when there is none; `task` is then untouched.
    bool GetTask(Task& task);
    // Drops every task whose current step is `item`.
    void RemoveTask(TaskItem item);

    // Not used by the service.
    // Drops every task.
    void RemoveAllTask();

  private:
    TaskList m_taskList;
    RWLock m_taskLock;
};

}  // namespace QuorvaneSvr

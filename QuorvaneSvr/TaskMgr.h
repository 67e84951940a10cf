#pragma once

#include <vector>

#include "AutoString.h"
#include "ptlock.h"

namespace QuorvaneSvr {

// The steps of the portal business. The numbers are also the ids of the timer entries that queue them.
enum TaskItem : int {
    noTask = 0,             // nothing; as the next task: no step follows
    checkNet = 1,           // probe the network, discover the portal
    checkUnknowNet = 2,     // probe an environment whose kind is not known yet
    reqConfig = 3,          // fetch the authentication configuration
    reqTicket = 4,          // obtain a ticket
    reqState = 5,           // poll the state of the session
    auth = 6,               // log in with account and password
    term = 7,               // log out
    pluse = 8,              // keep-alive pulse
    checkWifi = 9,          // check whether the connection is shared
    termForWifi = 10,       // log out because it is
    terminal = 11,          // fetch the data of the user's other terminals
    terminalTerm = 12,      // log another terminal out
    keepPort = 13,          // no step; taken and ignored
    trafficStatistics = 14  // upload a statistics record
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

// The queue of the work thread: takes the highest level first and, within a level, what arrived first. The
// same step may wait in it any number of times. Any thread adds; one thread, the work thread, takes.
//
// AddTask takes the lock shared and the others take none, so nothing here excludes anything; the queue relies
// on producers and the work thread seldom meeting. The race is taken on purpose: a task that is added in the
// very moment in which one is taken can be lost or damaged. Room for kUsualTasks is set aside so that the list
// does not move under a reader.
class CTaskMgr {
  public:
    CTaskMgr();

    // Queues a copy of `task`.
    void AddTask(Task& task);
    // Takes the next task into `task`. False at once when there is none; `task` is then untouched.
    bool GetTask(Task& task);
    // Drops every task whose current step is `item`.
    void RemoveTask(TaskItem item);
    void RemoveAllTask();

  private:
    std::vector<Task> m_taskList;  // in order of arrival
    RWLock m_taskLock;
};

}  // namespace QuorvaneSvr

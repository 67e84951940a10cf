#include "TaskMgr.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "WaitUntil.h"

using namespace QuorvaneSvr;

TEST(TaskMgr, TakesTheHighestLevelAndWithinItTheFirstToArriveUnlessRemoved) {
    CTaskMgr tasks;
    const Task pulse = {pluse, noTask, normal, ""};
    const Task state = {reqState, noTask, normal, ""};
    for (Task task : {state, pulse, pulse, Task{auth, noTask, high, "a"}, Task{auth, noTask, high, "b"}}) {
        tasks.AddTask(task);
    }
    tasks.RemoveTask(pluse);
    std::string taken;
    for (Task task; tasks.GetTask(task);) {
        taken += std::to_string(task.curTask) + task.tag.GetText() + " ";
    }
    EXPECT_EQ(taken, "6a 6b 5 ");
}

// A front end that asked for terminal data 2,000 times a second brought the service down within a minute.
TEST(TaskMgr, ThreadsThatAddAndRemoveLoseAndDamageNothing) {
    constexpr int kThreads = 3;
    constexpr int kTasks = 2000;
    // The tag takes a while to copy, in which another thread comes in.
    const Task kept = {auth, noTask, high, std::string(10000, 't').c_str()};
    CTaskMgr tasks;
    std::vector<std::thread> producers;
    for (int i = 0; i < kThreads; ++i) {
        producers.emplace_back(
            [&, wanted = kept, removed = Task{terminal, noTask, high, kept.tag}]() mutable {
                for (int task = 0; task < kTasks; ++task) {
                    tasks.AddTask(wanted);
                    tasks.AddTask(removed);
                    tasks.RemoveTask(terminal);
                }
            });
    }
    int whole = 0;
    EXPECT_TRUE(WaitUntil([&] {
        for (Task taken; tasks.GetTask(taken);) {
            whole += taken.curTask == auth && taken.tag == kept.tag ? 1 : 0;
        }
        return whole == kThreads * kTasks;
    }));
    for (std::thread& producer : producers) {
        producer.join();
    }
}

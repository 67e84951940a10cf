#include "TaskMgr.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "WaitUntil.h"

using testing::ElementsAre;
using namespace QuorvaneSvr;

namespace {

class TaskMgr : public testing::Test {
  protected:
    // The tag tells tasks of the same item apart.
    void Add(TaskItem item, TaskLevel level = normal, const char* tag = "") {
        Task task = {item, noTask, level, tag};
        m_tasks.AddTask(task);
    }

    std::vector<std::string> TakeAll() {
        std::vector<std::string> taken;
        Task task;
        while (m_tasks.GetTask(task)) {
            taken.push_back(std::to_string(task.curTask) + task.tag.GetText());
        }
        return taken;
    }

    CTaskMgr m_tasks;
};

}  // namespace

TEST_F(TaskMgr, TakesTheHighestLevelAndWithinItTheFirstToArrive) {
    Add(reqState, normal, "a");
    Add(auth, high, "a");
    Add(checkWifi, low);
    Add(pluse, high);
    Add(auth, high, "b");
    Add(keepPort, mostHigh);
    Add(noTask);
    EXPECT_THAT(TakeAll(), ElementsAre("13", "6a", "8", "6b", "5a", "0", "9"));
}

TEST_F(TaskMgr, RemovesEveryTaskOfAnItemAndKeepsTheOrderOfTheRest) {
    for (const char* tag : {"a", "b"}) {
        Add(pluse);
        Add(pluse);
        Add(reqState, normal, tag);
    }
    m_tasks.RemoveTask(pluse);
    EXPECT_THAT(TakeAll(), ElementsAre("5a", "5b"));
}

// A front end that asked for terminal data 2,000 times a second brought the service down within a minute.
TEST_F(TaskMgr, ThreadsThatAddAndRemoveLoseAndDamageNothing) {
    constexpr int kTasks = 2000;
    const std::string tag(10000, 't');  // takes a while to copy, in which another thread comes in
    std::vector<std::thread> producers;
    for (int i = 0; i < 3; ++i) {
        producers.emplace_back([&] {
            for (int task = 0; task < kTasks; ++task) {
                Add(auth, high, tag.c_str());
                Add(terminal, high, tag.c_str());
                m_tasks.RemoveTask(terminal);
            }
        });
    }
    std::ptrdiff_t whole = 0;
    EXPECT_TRUE(WaitUntil([&] {
        const std::vector<std::string> taken = TakeAll();
        whole += std::count(taken.begin(), taken.end(), std::to_string(auth) + tag);
        return whole == std::ptrdiff_t{kTasks} * static_cast<std::ptrdiff_t>(producers.size());
    }));
    for (std::thread& producer : producers) {
        producer.join();
    }
}

#include "TableTimer.h"

#include <gmock/gmock.h>

#include <climits>
#include <functional>
#include <string>
#include <vector>

#include "WaitUntil.h"
#include "guard.h"

using testing::ElementsAre;

namespace {

// Keeps what fires as "id:tag" and may do something with the timer from within the callback.
class Timer : public CTableTimer {
  public:
    ~Timer() override { Stop(); }

    void DoTimeTask(int timeId, CAutoString& tag) override {
        CLockGuard<GLockObj> guard(m_lock);
        m_fired.push_back(std::to_string(timeId) + ":" + tag.GetText());
        if (m_inCallback) {
            m_inCallback(timeId);
        }
    }

    std::vector<std::string> Fired() {
        CLockGuard<GLockObj> guard(m_lock);
        return m_fired;
    }
    bool AwaitFired(size_t count) {
        return WaitUntil([&] { return Fired().size() >= count; });
    }
    bool Stop() {
        return WaitUntil([this] { return DispatchTask(false); });
    }

    std::function<void(int)> m_inCallback;

  private:
    MutexLock m_lock;
    std::vector<std::string> m_fired;
};

// Entries of one test that must be armed in the same second are armed early in it.
void AwaitStartOfSecond() {
    WaitUntil([] {
        timespec now = {};
        clock_gettime(CLOCK_REALTIME, &now);
        return now.tv_nsec < 500000000;
    });
}

}  // namespace

TEST(TableTimer, FiresWhatIsDueAndKeepsTheRest) {
    Timer timer;
    timer.AddTask(1, CTableTimer::kOneShot, true, 30, true, "tag");
    timer.AddTask(2, CTableTimer::kOneShot, false, 30, true);
    timer.AddTask(3, CTableTimer::kOneShot, false, LONG_MAX, true);
    timer.AddTask(4, CTableTimer::kOneShot, false, 0, true);
    timer.DispatchTask(true);
    ASSERT_TRUE(timer.AwaitFired(2));
    EXPECT_THAT(timer.Fired(), testing::UnorderedElementsAre("1:tag", "4:"));
    EXPECT_FALSE(timer.IsExistTask(1));
    EXPECT_TRUE(timer.IsExistTask(2));
    EXPECT_TRUE(timer.IsExistTask(3));

    EXPECT_TRUE(timer.Stop());
    EXPECT_FALSE(timer.IsExistTask(2)) << "a stop discards what is armed";
}

TEST(TableTimer, ReplacesAnArmedEntryOnlyWhenTold) {
    Timer timer;
    timer.AddTask(1, CTableTimer::kOneShot, false, 30, true, "old");
    timer.AddTask(1, CTableTimer::kOneShot, true, 0, true, "new");
    timer.AddTask(2, CTableTimer::kOneShot, true, 0, false, "old");
    timer.AddTask(2, CTableTimer::kOneShot, true, 0, false, "new");
    timer.AddTask(3, CTableTimer::kOneShot, false, 30, false, "old");
    timer.AddTask(3, CTableTimer::kOneShot, true, 0, false, "new");
    timer.DispatchTask(true);
    ASSERT_TRUE(timer.AwaitFired(2));
    EXPECT_THAT(timer.Fired(), testing::UnorderedElementsAre("1:new", "2:old"));
    EXPECT_TRUE(timer.IsExistTask(3));
}

TEST(TableTimer, EntriesOfOneSecondFireLastArmedFirst) {
    Timer timer;
    AwaitStartOfSecond();
    for (const int id : {1, 2, 3, 4}) {
        timer.AddTask(id, CTableTimer::kOneShot, true, 0, true);
    }
    timer.RemoveTask(3);
    timer.RemoveTask(99);
    timer.DispatchTask(true);
    ASSERT_TRUE(timer.AwaitFired(3));
    EXPECT_THAT(timer.Fired(), ElementsAre("4:", "2:", "1:"));
}

TEST(TableTimer, APeriodicEntryFiresAtItsIntervalUntilItsCallbackRemovesIt) {
    Timer timer;
    const time_t armed = time(nullptr);
    timer.m_inCallback = [&](int id) {
        EXPECT_TRUE(timer.IsExistTask(id)) << "armed again before the callback";
        if (timer.Fired().size() == 2) {
            timer.RemoveTask(id);
        }
    };
    timer.AddTask(1, CTableTimer::kPeriodic, true, 1, true, "tag");
    timer.DispatchTask(true);
    ASSERT_TRUE(timer.AwaitFired(2));
    EXPECT_GT(time(nullptr), armed);
    EXPECT_THAT(timer.Fired(), ElementsAre("1:tag", "1:tag"));
    EXPECT_FALSE(timer.IsExistTask(1));
}

TEST(TableTimer, CallbacksMayClearAndArm) {
    Timer timer;
    timer.m_inCallback = [&](int id) {
        timer.ClearTask();
        if (id < 3) {
            timer.AddTask(id + 1, CTableTimer::kPeriodic, true, 9, true, "next");
        }
    };
    timer.AddTask(1, CTableTimer::kPeriodic, true, 9, true);
    timer.DispatchTask(true);
    ASSERT_TRUE(timer.AwaitFired(3));
    EXPECT_THAT(timer.Fired(), ElementsAre("1:", "2:next", "3:next"));
    EXPECT_FALSE(timer.IsExistTask(3));
}

#include "TableTimer.h"

#include <gmock/gmock.h>

#include <atomic>
#include <climits>
#include <ctime>
#include <functional>
#include <string>

#include "Recorder.h"

using testing::ElementsAre;
using testing::UnorderedElementsAre;

static std::atomic<time_t> now = 1700000000;

// In this program it takes the place of the C library's: the clock stands unless a test moves it.
extern "C" time_t time(time_t* /*out*/) noexcept {
    return now;
}

namespace {

constexpr int kOneShot = CTableTimer::kOneShot;

// Keeps what fires as "id:tag" and may do something with the timer from within the callback.
class Timer : public CTableTimer {
  public:
    ~Timer() override { Stop(); }

    void DoTimeTask(int timeId, CAutoString& tag) override {
        fired.Add(std::to_string(timeId) + ":" + tag.GetText());
        inCallback(timeId);
    }
    bool AwaitFired(size_t count) {
        DispatchTask(true);
        return fired.Await(count);
    }
    bool Stop() {
        return WaitUntil([this] { return DispatchTask(false); });
    }

    Recorder fired;
    std::function<void(int)> inCallback = [](int) {};
};

}  // namespace

TEST(TableTimer, FiresWhatIsDueAndKeepsTheRest) {
    Timer timer;
    timer.AddTask(1, kOneShot, true, 30, true, "tag");
    timer.AddTask(2, kOneShot, false, 30, true);
    timer.AddTask(3, kOneShot, false, LONG_MAX, true);
    timer.AddTask(4, kOneShot, false, 0, true);
    ASSERT_TRUE(timer.AwaitFired(2));
    EXPECT_THAT(timer.fired.All(), UnorderedElementsAre("1:tag", "4:"));
    EXPECT_FALSE(timer.IsExistTask(1));
    EXPECT_TRUE(timer.IsExistTask(2) && timer.IsExistTask(3));
    EXPECT_TRUE(timer.Stop());
    EXPECT_FALSE(timer.IsExistTask(2)) << "a stop discards what is armed";
}

TEST(TableTimer, ReplacesAnArmedEntryOnlyWhenTold) {
    Timer timer;
    for (const bool replace : {true, false}) {
        timer.AddTask(replace, kOneShot, false, replace ? 30 : 0, replace, "old");
        timer.AddTask(replace, kOneShot, false, replace ? 0 : 30, replace, "new");
    }
    auto* own = new TaskInfo;
    own->m_timeId = 2;
    own->m_toDo = true;
    own->m_strTag = "own";
    for (const bool replace : {true, false, true}) {
        timer.ReAddTask(own, replace);
    }
    ASSERT_TRUE(timer.AwaitFired(3));
    EXPECT_THAT(timer.fired.All(), UnorderedElementsAre("1:new", "0:old", "2:own"));
}

TEST(TableTimer, EntriesGoAlongWithAClockThatIsSetBack) {
    Timer timer;
    timer.AddTask(1, kOneShot, false, 30, true);
    timer.AddTask(2, kOneShot, false, 31, true);
    now -= 7200;
    timer.AddTask(3, kOneShot, false, 29, true);
    now += 30;
    ASSERT_TRUE(timer.AwaitFired(2)) << "pulses would stop for two hours";
    EXPECT_THAT(timer.fired.All(), ElementsAre("3:", "1:"));
    EXPECT_TRUE(timer.IsExistTask(2));
}

TEST(TableTimer, EntriesOfOneSecondFireLastArmedFirst) {
    Timer timer;
    for (const int id : {1, 2, 3, 4}) {
        timer.AddTask(id, kOneShot, true, 0, true);
    }
    timer.RemoveTask(3);
    timer.RemoveTask(99);
    ASSERT_TRUE(timer.AwaitFired(3));
    EXPECT_THAT(timer.fired.All(), ElementsAre("4:", "2:", "1:"));
}

TEST(TableTimer, APeriodicEntryFiresAtItsIntervalUntilItsCallbackRemovesIt) {
    Timer timer;
    timer.inCallback = [&](int id) {
        EXPECT_TRUE(timer.IsExistTask(id)) << "armed again before the callback";
        if (timer.fired.All().size() == 2) {
            timer.RemoveTask(id);
        }
    };
    timer.AddTask(1, CTableTimer::kPeriodic, true, 1, true, "tag");
    ASSERT_TRUE(timer.AwaitFired(1));
    now += 1;
    ASSERT_TRUE(timer.AwaitFired(2));
    EXPECT_TRUE(WaitUntil([&] { return !timer.IsExistTask(1); }));
    EXPECT_THAT(timer.fired.All(), ElementsAre("1:tag", "1:tag"));
}

#include "TableTimer.h"

#include <gmock/gmock.h>

#include <atomic>
#include <climits>
#include <ctime>
#include <string>

#include "Recorder.h"

using testing::ElementsAre;

static std::atomic<time_t> now = 1700000000;

// In this program it takes the place of the C library's: the clock stands unless a test moves it.
extern "C" time_t time(time_t* /*out*/) noexcept {
    return now;
}

namespace {

constexpr int kOneShot = CTableTimer::kOneShot;

// Keeps what fires as "id:tag".
class Timer : public CTableTimer {
  public:
    ~Timer() override { Stop(); }

    void DoTimeTask(int timeId, CAutoString& tag) override {
        fired.Add(std::to_string(timeId) + ":" + tag.GetText());
    }
    bool AwaitFired(size_t count) {
        DispatchTask(true);
        return fired.Await(count);
    }
    bool Stop() {
        return WaitUntil([this] { return DispatchTask(false); });
    }

    Recorder fired;
};

}  // namespace

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
        timer.AddTask(id, kOneShot, true, 30, true);
    }
    timer.AddTask(5, kOneShot, false, LONG_MAX, true);
    timer.RemoveTask(3);
    ASSERT_TRUE(timer.AwaitFired(3));
    EXPECT_THAT(timer.fired.All(), ElementsAre("4:", "2:", "1:"));
    EXPECT_TRUE(timer.IsExistTask(5));
    EXPECT_TRUE(timer.Stop() && !timer.IsExistTask(5));
}

TEST(TableTimer, ReplacesAnArmedEntryOnlyWhenTold) {
    Timer timer;
    for (const bool replace : {true, false}) {
        timer.AddTask(replace, kOneShot, true, 0, true, "old");
        timer.AddTask(replace, kOneShot, true, 0, replace, "new");
    }
    ASSERT_TRUE(timer.AwaitFired(2));
    EXPECT_THAT(timer.fired.All(), ElementsAre("0:old", "1:new"));
}

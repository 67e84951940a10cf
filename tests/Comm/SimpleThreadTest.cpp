#include "SimpleThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>

#include "WaitUntil.h"
#include "comm.h"

namespace {

using std::chrono::milliseconds;

// A thread that looks at its run flag, or one that ends only when the test lets it.
class Worker {
  public:
    explicit Worker(bool obeys) : m_obeys(obeys) {}
    ~Worker() {
        Release();
        WaitUntil([this] { return m_thread.Stop(0, false); });
    }

    bool Run() { return m_thread.Run(Body, this, &m_run); }
    bool Stop(long timeoutMs, bool kill) { return m_thread.Stop(timeoutMs, kill); }
    void Release() { m_released = true; }
    bool RunFlag() const { return m_run; }

  private:
    static void* Body(void* self) {
        auto* worker = static_cast<Worker*>(self);
        while (!worker->m_released && !(worker->m_obeys && !worker->m_run)) {
            Sleep(1);
        }
        return nullptr;
    }

    const bool m_obeys;
    bool m_run = false;
    std::atomic<bool> m_released = false;
    CSimpleThread m_thread;
};

// A stop waits no longer than its second lasts, so a test of the waiting begins early in one.
void AwaitStartOfSecond() {
    WaitUntil([] {
        timespec now = {};
        clock_gettime(CLOCK_REALTIME, &now);
        return now.tv_nsec < 200000000;
    });
}

milliseconds Measure(const std::function<void()>& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

}  // namespace

TEST(SimpleThread, RunsOneThreadAtATime) {
    Worker worker(false);
    EXPECT_TRUE(worker.Run());
    EXPECT_FALSE(worker.Stop(1000, false));
    EXPECT_FALSE(worker.RunFlag());
    EXPECT_FALSE(worker.Run());
    EXPECT_TRUE(worker.RunFlag());
    worker.Release();
    EXPECT_TRUE(WaitUntil([&] { return worker.Run(); }));
}

TEST(SimpleThread, StopTellsWhetherTheThreadHasEnded) {
    Worker worker(true);
    EXPECT_TRUE(worker.Stop(500, false)) << "never started";
    // A machine that is held up (the thread sanitizer does it) misses the second in which the stop began.
    ASSERT_TRUE(WaitUntil([&] {
        AwaitStartOfSecond();
        return worker.Run() && worker.Stop(300, false);
    })) << "ends in time";
    EXPECT_TRUE(worker.Stop(500, true)) << "stopped before";
    EXPECT_TRUE(worker.Run());
}

TEST(SimpleThread, StopGivesUpAfterItsTimeOut) {
    Worker worker(false);
    ASSERT_TRUE(worker.Run());
    AwaitStartOfSecond();
    bool ended = true;
    const milliseconds waited = Measure([&] { ended = worker.Stop(300, false); });
    EXPECT_FALSE(ended);
    EXPECT_GE(waited, milliseconds(299));
    EXPECT_LT(waited, milliseconds(2000));
}

TEST(SimpleThread, StopDoesNotWaitBeyondTheSecond) {
    Worker worker(false);
    ASSERT_TRUE(worker.Run());
    EXPECT_LT(Measure([&] { EXPECT_FALSE(worker.Stop(1000, false)); }), milliseconds(900));
    worker.Release();
    EXPECT_TRUE(WaitUntil([&] { return worker.Stop(1000, false); })) << "an ended thread is still noticed";
}

TEST(SimpleThreadDeathTest, KillingAThreadEndsTheProcess) {
    EXPECT_EXIT(
        {
            Worker worker(false);
            worker.Run();
            worker.Stop(1000, true);
        },
        testing::KilledBySignal(SIGKILL), "");
}

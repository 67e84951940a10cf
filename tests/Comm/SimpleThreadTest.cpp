#include "SimpleThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>

#include "WaitUntil.h"
#include "comm.h"

namespace {

using std::chrono::milliseconds;

// A thread that looks at its run flag, or one that ends only when the test lets it.
struct Worker {
    explicit Worker(bool obedient) : obeys(obedient) {}
    ~Worker() {
        released = true;
        WaitUntil([this] { return thread.Stop(0, false); });
    }
    bool Run() { return thread.Run(Body, this, &run); }
    static void* Body(void* self) {
        const auto* worker = static_cast<Worker*>(self);
        while (!worker->released && !(worker->obeys && !worker->run)) {
            Sleep(1);
        }
        return nullptr;
    }
    // How long it waits for a thread that does not end.
    milliseconds StopInVain(long timeoutMs) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(thread.Stop(timeoutMs, false));
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
    }

    const bool obeys;
    bool run = false;
    std::atomic<bool> released = false;
    CSimpleThread thread;
};

}  // namespace

TEST(SimpleThread, RunsOneThreadAtATime) {
    Worker worker(false);
    EXPECT_TRUE(worker.Run());
    worker.StopInVain(1000);
    EXPECT_FALSE(worker.run);
    EXPECT_FALSE(worker.Run());
    EXPECT_TRUE(worker.run);
    worker.released = true;
    EXPECT_TRUE(WaitUntil([&] { return worker.Run(); }));
}

TEST(SimpleThread, StopTellsWhetherTheThreadHasEnded) {
    Worker worker(true);
    EXPECT_TRUE(worker.thread.Stop(500, false)) << "never started";
    // A machine that is held up (the thread sanitizer does it) misses the second in which the stop began.
    ASSERT_TRUE(WaitUntil([&] {
        AwaitStartOfSecond();
        return worker.Run() && worker.thread.Stop(300, false);
    })) << "ends in time";
    EXPECT_TRUE(worker.thread.Stop(500, true)) << "stopped before";
    EXPECT_TRUE(worker.Run());
}

TEST(SimpleThread, StopDoesNotWaitBeyondTheSecond) {
    Worker worker(false);
    ASSERT_TRUE(worker.Run());
    AwaitStartOfSecond();
    const milliseconds waited = worker.StopInVain(300);
    EXPECT_TRUE(waited >= milliseconds(299) && waited < milliseconds(2000)) << waited.count();
    EXPECT_LT(worker.StopInVain(1000), milliseconds(900));
    worker.released = true;
    EXPECT_TRUE(WaitUntil([&] { return worker.thread.Stop(1000, false); })) << "is noticed all the same";
}

TEST(SimpleThreadDeathTest, KillingAThreadEndsTheProcess) {
    EXPECT_EXIT(
        {
            Worker worker(false);
            worker.Run();
            worker.thread.Stop(1000, true);
        },
        testing::KilledBySignal(SIGKILL), "");
}

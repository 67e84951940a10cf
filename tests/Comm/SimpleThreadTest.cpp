#include "SimpleThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>

#include "RefusedThreads.h"
#include "RelaxedAccess.h"
#include "WaitUntil.h"
#include "comm.h"

namespace {

using std::chrono::milliseconds;

// A thread that looks at its run flag only once it is told to obey.
struct Worker {
    ~Worker() {
        obeys = true;
        WaitUntil([this] { return thread.Stop(0, false); });
    }
    bool Run() { return thread.Run(Body, this, &run); }
    static void* Body(void* self) {
        const auto* worker = static_cast<Worker*>(self);
        while (!worker->obeys || ReadRelaxed(worker->run)) {
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

    bool run = false;
    std::atomic<bool> obeys = false;
    CSimpleThread thread;
};

}  // namespace

TEST(SimpleThread, RunsOneThreadAtATimeAndWaitsForItWithinTheSecond) {
    Worker worker;
    EXPECT_TRUE(worker.thread.Stop(500, false)) << "never started";
    ASSERT_TRUE(worker.Run());
    AwaitStartOfSecond();
    const milliseconds waited = worker.StopInVain(300);
    EXPECT_TRUE(waited >= milliseconds(299) && waited < milliseconds(2000)) << waited.count();
    EXPECT_LT(worker.StopInVain(1000), milliseconds(900)) << "beyond the second it does not wait";
    EXPECT_FALSE(worker.run);
    EXPECT_FALSE(worker.Run());
    EXPECT_TRUE(worker.run) << "set again for the thread that goes on";
    worker.obeys = true;
    // A machine that is held up (the thread sanitizer does it) misses the second in which the stop began.
    ASSERT_TRUE(WaitUntil([&] {
        AwaitStartOfSecond();
        worker.Run();
        return worker.thread.Stop(300, false);
    })) << "ends in time";
    EXPECT_TRUE(worker.thread.Stop(500, true)) << "stopped before";
    EXPECT_TRUE(worker.Run());
}

// A timer without a thread left the front end without any answer.
TEST(SimpleThread, WaitsForAsLongAsTheMachineRefusesThreads) {
    Worker worker;
    const RefusedThreads refused([&] { return ReadRelaxed(worker.run); });
    EXPECT_TRUE(worker.thread.RunWhenAllowed(Worker::Body, &worker, &worker.run));
    EXPECT_FALSE(worker.thread.RunWhenAllowed(Worker::Body, &worker, &worker.run)) << "one runs";
}

TEST(SimpleThreadDeathTest, KillingAThreadEndsTheProcess) {
    EXPECT_EXIT(
        {
            Worker worker;
            worker.Run();
            worker.thread.Stop(1000, true);
        },
        testing::KilledBySignal(SIGKILL), "");
}

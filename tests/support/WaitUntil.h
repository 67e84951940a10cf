#pragma once

#include <chrono>
#include <ctime>
#include <thread>

// Waits until `condition()` is true, at most for `deadline`. Returns whether it became true, so that a test
// waits for what it needs instead of sleeping for as long as it hopes is enough.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds deadline = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// For what has to happen within one second of the clock: returns in the first fifth of one.
inline void AwaitStartOfSecond() {
    WaitUntil([] {
        timespec now = {};
        clock_gettime(CLOCK_REALTIME, &now);
        return now.tv_nsec < 200000000;
    });
}

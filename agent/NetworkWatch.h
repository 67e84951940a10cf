#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "EventLoop.h"
#include "FileUtil.h"
#include "PathFinder.h"
#include "QuietPeriod.h"

// How long the machine has slept since it was started.
std::chrono::nanoseconds TimeAsleep();

// Listens to the kernel's routes and addresses, whoever changes them, and notices that the machine slept.
// Needs no rights. Belongs to the loop's thread.
class NetworkWatch {
  public:
    using Changed = std::function<void(bool isOther)>;

    // `changed` is called on the loop's thread when Path() has another value after 2 s of quiet, at the
    // latest 10 s after the first event, and when a suspend is over; `isOther` is false when the path is
    // still the same after it. Not for the first value. It may destroy this object. `timeAsleep` never runs
    // back. Where the kernel does not let it listen, which is told on standard error, only suspends are
    // noticed.
    NetworkWatch(EventLoop& loop, Changed changed,
                 std::function<std::chrono::nanoseconds()> timeAsleep = TimeAsleep);
    ~NetworkWatch();
    NetworkWatch(const NetworkWatch&) = delete;
    NetworkWatch& operator=(const NetworkWatch&) = delete;

    // As it was when it was last quiet.
    const NetworkPath& Path() const { return m_path; }

  private:
    void DiscardEvents();
    void LookForSuspend();
    void Look();

    const Changed m_changed;
    const std::function<std::chrono::nanoseconds()> m_timeAsleep;
    const Descriptor m_events;
    std::chrono::nanoseconds m_slept;
    bool m_hasSlept = false;  // and nobody was told yet
    NetworkPath m_path;
    QuietPeriod m_quiet;
    EventSource m_suspendTimer;
    EventSource m_happened;
};

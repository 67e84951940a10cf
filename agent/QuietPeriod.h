#pragma once

#include <chrono>

#include "EventLoop.h"

// Puts off an action until what is noted has been quiet for a while, so that a burst of events costs one
// action; but never longer than a bound, however many events come. Belongs to the loop's thread.
class QuietPeriod {
  public:
    // `action` may destroy this object.
    QuietPeriod(EventLoop& loop, EventLoop::Duration quiet, EventLoop::Duration longest,
                EventLoop::Action action);
    QuietPeriod(const QuietPeriod&) = delete;
    QuietPeriod& operator=(const QuietPeriod&) = delete;

    // Something happened; cheap.
    void Note();

  private:
    using Clock = std::chrono::steady_clock;

    void Await(EventLoop::Duration delay);
    void Look();

    EventLoop& m_loop;
    const EventLoop::Duration m_quiet;
    const EventLoop::Duration m_longest;  // from the first event on
    const EventLoop::Action m_action;
    Clock::time_point m_first;
    Clock::time_point m_last;
    EventSource m_timer;  // active while an action is due
};

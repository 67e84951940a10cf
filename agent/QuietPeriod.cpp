#include "QuietPeriod.h"

#include <algorithm>
#include <utility>

QuietPeriod::QuietPeriod(EventLoop& loop, EventLoop::Duration quiet, EventLoop::Duration longest,
                         EventLoop::Action action)
    : m_loop(loop), m_quiet(quiet), m_longest(longest), m_action(std::move(action)) {}

void QuietPeriod::Note() {
    m_last = Clock::now();
    if (!m_timer.IsActive()) {
        m_first = m_last;
        Await(m_quiet);
    }
}

void QuietPeriod::Await(EventLoop::Duration delay) {
    m_timer = m_loop.After(delay, [this] { Look(); });
}

// The timer is set anew when it has run off, not at each event.
void QuietPeriod::Look() {
    const EventLoop::Duration left = std::min(m_last + m_quiet, m_first + m_longest) - Clock::now();
    if (left.count() > 0) {
        Await(left);
        return;
    }
    m_timer.Reset();
    const EventLoop::Action action = m_action;  // outlives this object
    action();
}

#include "EventLoop.h"

#include <pthread.h>

#include <csignal>
#include <ctime>
#include <system_error>

namespace {

constexpr uint64_t kMicrosecond = 1000;
constexpr uint64_t kAccuracy =
    1;  // in microseconds: nothing is put off to be done together with something else

void Require(int result) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "event loop");
    }
}

uint64_t Microseconds(EventLoop::Duration duration) {
    return duration.count() > 0 ? static_cast<uint64_t>(duration.count()) / kMicrosecond : 0;
}

clockid_t IdOf(EventLoop::Clock clock) {
    return clock == EventLoop::Clock::kBoot ? CLOCK_BOOTTIME : CLOCK_MONOTONIC;
}

}  // namespace

// The action may destroy its own source, so each call keeps the state alive. Exceptions end the program: they
// have no way through the library.
struct EventSource::State : std::enable_shared_from_this<State> {
    ~State() { sd_event_source_disable_unref(source); }

    // NOLINTBEGIN(bugprone-exception-escape)
    static int OnDescriptor(sd_event_source* /*source*/, int /*descriptor*/, uint32_t events,
                            void* data) noexcept {
        const auto self = static_cast<State*>(data)->shared_from_this();
        self->action(events);
        return 0;
    }
    static int OnTime(sd_event_source* source, uint64_t /*microseconds*/, void* data) noexcept {
        const auto self = static_cast<State*>(data)->shared_from_this();
        if (self->period > 0) {
            (void)sd_event_source_set_time_relative(source, self->period);
            (void)sd_event_source_set_enabled(source, SD_EVENT_ONESHOT);
        }
        self->action(0);
        return 0;
    }
    static int OnSignal(sd_event_source* /*source*/, const signalfd_siginfo* /*info*/, void* data) noexcept {
        const auto self = static_cast<State*>(data)->shared_from_this();
        self->action(0);
        return 0;
    }
    // NOLINTEND(bugprone-exception-escape)

    std::function<void(uint32_t)> action;
    uint64_t period = 0;  // in microseconds; 0: once
    sd_event_source* source = nullptr;
};

void EventSource::WatchFor(uint32_t events) {
    Require(sd_event_source_set_io_events(m_state->source, events));
}

EventLoop::EventLoop() : m_loop(nullptr, sd_event_unref) {
    sd_event* loop = nullptr;
    Require(sd_event_new(&loop));
    m_loop.reset(loop);
}

EventSource EventLoop::OnDescriptor(int descriptor, uint32_t events, std::function<void(uint32_t)> action) {
    EventSource added = NewSource(std::move(action));
    EventSource::State& state = *added.m_state;
    Require(sd_event_add_io(m_loop.get(), &state.source, descriptor, events, EventSource::State::OnDescriptor,
                            &state));
    return added;
}

EventSource EventLoop::After(Duration delay, Action action, Clock clock) {
    EventSource added = NewSource([action = std::move(action)](uint32_t) { action(); });
    EventSource::State& state = *added.m_state;
    Require(sd_event_add_time_relative(m_loop.get(), &state.source, IdOf(clock), Microseconds(delay),
                                       kAccuracy, EventSource::State::OnTime, &state));
    return added;
}

EventSource EventLoop::Every(Duration period, Action action, Clock clock) {
    EventSource added = After(period, std::move(action), clock);
    added.m_state->period = Microseconds(period);
    return added;
}

EventSource EventLoop::OnSignal(int signal, Action action) {
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, signal);
    Require(-pthread_sigmask(SIG_BLOCK, &blocked, nullptr));
    EventSource added = NewSource([action = std::move(action)](uint32_t) { action(); });
    EventSource::State& state = *added.m_state;
    Require(sd_event_add_signal(m_loop.get(), &state.source, signal, EventSource::State::OnSignal, &state));
    return added;
}

EventSource EventLoop::NewSource(std::function<void(uint32_t)> action) {
    EventSource source;
    source.m_state = std::make_shared<EventSource::State>();
    source.m_state->action = std::move(action);
    return source;
}

int EventLoop::Run() {
    const int status = sd_event_loop(m_loop.get());
    Require(status);
    return status;
}

void EventLoop::End(int status) {
    (void)sd_event_exit(m_loop.get(), status);  // fails only when the loop has ended already
}

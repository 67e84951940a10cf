#pragma once

#include <sys/epoll.h>
#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

// Something the loop looks after, as long as this object lives. A source may be destroyed or replaced within
// its own action.
class EventSource {
  public:
    EventSource() = default;

    bool IsActive() const { return m_state != nullptr; }
    void Reset() { m_state.reset(); }
    // Of a descriptor: what it is watched for from now on, as for EventLoop::OnDescriptor.
    void WatchFor(uint32_t events);

  private:
    friend class EventLoop;
    struct State;
    std::shared_ptr<State> m_state;
};

// The one thread of the agent: waits for descriptors, moments and signals and runs the action of each, one at
// a time. Everything here belongs to that thread.
class EventLoop {
  public:
    using Action = std::function<void()>;
    using Duration = std::chrono::nanoseconds;
    enum class Clock {
        kMonotonic,  // stands still while the machine sleeps
        kBoot,       // goes on meanwhile: what was due then happens at once when it wakes
    };

    // Throws std::system_error when the kernel has nothing left for it, as every operation here does.
    EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    // Calls `action` with what happened (EPOLLIN, EPOLLOUT, EPOLLHUP, EPOLLERR) whenever one of `events` is
    // so; the last two count always. The descriptor is not owned and outlives the source.
    EventSource OnDescriptor(int descriptor, uint32_t events, std::function<void(uint32_t)> action);
    // Once, when so much time has passed.
    EventSource After(Duration delay, Action action, Clock clock = Clock::kMonotonic);
    // Again and again; the first time when one period has passed.
    EventSource Every(Duration period, Action action, Clock clock = Clock::kMonotonic);
    // From now on the signal no longer does what it did. Before any thread is started.
    EventSource OnSignal(int signal, Action action);

    // Waits and runs actions until End is called; returns its status.
    int Run();
    void End(int status);

  private:
    static EventSource NewSource(std::function<void(uint32_t)> action);

    std::unique_ptr<sd_event, sd_event* (*)(sd_event*)> m_loop;
};

#pragma once

#include <string>

#include "EventLoop.h"

// Tells the service manager how the agent is, when one started it that wants to know; else nothing happens.
// The manager's watchdog is fed from the loop, so that it bites when the loop hangs.
class Notifier {
  public:
    explicit Notifier(EventLoop& loop);

    // Clients are served.
    void Ready() const;
    // What it does, in words on one line.
    void Status(const std::string& words) const;
    void Stopping() const;

  private:
    EventSource m_watchdog;
};

#include "Notifier.h"

#include <systemd/sd-daemon.h>

namespace {

constexpr int kOften = 2;  // in the time after which the watchdog bites

// Whether somebody listens is the manager's business.
void Tell(const std::string& text) {
    (void)sd_notify(0, text.c_str());
}

}  // namespace

Notifier::Notifier(EventLoop& loop) {
    uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) > 0) {
        m_watchdog = loop.Every(std::chrono::microseconds(microseconds) / kOften, [] { Tell("WATCHDOG=1"); });
    }
}

void Notifier::Ready() const {
    Tell("READY=1");
}

void Notifier::Status(const std::string& words) const {
    Tell("STATUS=" + words);
}

void Notifier::Stopping() const {
    Tell("STOPPING=1");
}

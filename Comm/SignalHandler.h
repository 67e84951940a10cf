#pragma once

#include <csignal>

// Has `handler` called for `signal`, unless the program or whoever started it has decided about that signal
// already. System calls that it interrupts go on.
inline void HandleUndecided(int signal, void (*handler)(int)) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) {
        return;
    }
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    (void)sigaction(signal, &action, nullptr);  // both arguments are known to be valid
}

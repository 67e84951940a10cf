#include "EndSignals.h"

#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include "PushedServers.h"
#include "SignalHandler.h"

namespace {

constexpr int kEndSignals[] = {SIGTERM, SIGINT, SIGHUP};
constexpr int kStatusOfSignal = 128;  // plus the number, as a shell tells it

// What the handler leaves for the thread that may do more than a handler.
sem_t signalArrived;
std::atomic<int> arrivedSignal = 0;
static_assert(std::atomic<int>::is_always_lock_free, "a handler takes no lock");

void NoteSignal(int signal) {
    const int before = errno;
    arrivedSignal = signal;
    (void)sem_post(&signalArrived);  // fails beyond two billion signals only
    errno = before;
}

void* EndProcess(void* /*nothing*/) {
    while (sem_wait(&signalArrived) != 0) {  // interrupted by another signal
    }
    CPushedServers::GiveBackForGood();
    const int number = arrivedSignal;
    (void)signal(number, SIG_DFL);  // known to be a signal that can be handled
    (void)raise(number);
    _exit(kStatusOfSignal + number);  // the first process of a container survives the default action
}

}  // namespace

void GiveBackAtEndSignals() {
    pthread_t thread = 0;
    if (sem_init(&signalArrived, 0, 0) != 0 || pthread_create(&thread, nullptr, EndProcess, nullptr) != 0) {
        return;  // the next start gives the file back
    }
    (void)pthread_detach(thread);  // fails for a thread that is not joinable only
    for (const int signal : kEndSignals) {
        HandleUndecided(signal, NoteSignal);
    }
}

#include "SimpleThread.h"

#include <csignal>

#include "RelaxedAccess.h"
#include "comm.h"

namespace {

constexpr long kNanosecondsPerMillisecond = 1000000;
constexpr long kNanosecondsPerSecond = 1000000000;

}  // namespace

bool CSimpleThread::Run(ThreadStart start, void* argument, bool* runFlag) {
    if (runFlag != nullptr) {
        m_pbRunCtrl = runFlag;
        WriteRelaxed(*m_pbRunCtrl, true);
    }
    if (!JoinEnded()) {
        return false;
    }
    pthread_t threadId = 0;
    if (pthread_create(&threadId, nullptr, start, argument) != 0) {
        return false;
    }
    m_threadId = threadId;
    return true;
}

bool CSimpleThread::RunWhenAllowed(ThreadStart start, void* argument, bool* runFlag) {
    while (!Run(start, argument, runFlag)) {
        if (m_threadId != 0) {
            return false;
        }
        Sleep(kRefusedRestMs);
    }
    return true;
}

void CSimpleThread::Stopping() {
    if (m_pbRunCtrl != nullptr) {
        WriteRelaxed(*m_pbRunCtrl, false);
    }
}

bool CSimpleThread::Stop(long timeoutMs, bool kill) {
    Stopping();
    if (JoinEnded()) {
        return true;
    }
    timespec deadline = {};
    if (clock_gettime(CLOCK_REALTIME, &deadline) != 0) {
        return false;
    }
    // Nothing is carried into the seconds: how long a stop may hold up its caller depends on it.
    // Held by SimpleThread.RunsOneThreadAtATimeAndWaitsForItWithinTheSecond.
    deadline.tv_nsec += timeoutMs * kNanosecondsPerMillisecond;
    if (JoinUntil(deadline)) {
        return true;
    }
    if (kill) {
        (void)pthread_kill(m_threadId, SIGKILL);  // does not return unless the thread has just ended
    }
    return kill;
}

bool CSimpleThread::JoinEnded() {
    if (m_threadId != 0 && pthread_tryjoin_np(m_threadId, nullptr) != 0) {
        return false;
    }
    m_threadId = 0;
    return true;
}

bool CSimpleThread::JoinUntil(const timespec& deadline) {
    // glibc does not refuse such a deadline, it waits for the thread in a busy loop.
    if (deadline.tv_nsec < 0 || deadline.tv_nsec >= kNanosecondsPerSecond) {
        return false;
    }
    if (pthread_timedjoin_np(m_threadId, nullptr, &deadline) != 0) {
        return false;
    }
    m_threadId = 0;
    return true;
}

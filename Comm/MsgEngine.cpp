#include "MsgEngine.h"

#include <pthread.h>

#include "RelaxedAccess.h"
#include "SimpleThread.h"
#include "comm.h"
#include "guard.h"

namespace {

constexpr unsigned int kEndPollMs = 1;  // the thread leaves within microseconds unless it handles a message

}  // namespace

bool CMsgEngine::m_bWaiting = false;

void CMsgEngine::AddMessage(CAutoString message) {
    CLockGuard<GLockObj> guard(m_msgLock);
    m_MsgQueue.push_back(message);
    m_changed.WakeOne();
}

void CMsgEngine::StartMsgEngine() {
    if (ReadRelaxed(m_Running)) {
        return;
    }
    WriteRelaxed(m_Running, true);
    CountThread(1);
    pthread_t threadId = 0;
    while (pthread_create(&threadId, nullptr, DealMessageThread, this) != 0) {
        Sleep(CSimpleThread::kRefusedRestMs);
        if (!ReadRelaxed(m_Running)) {
            CountThread(-1);
            return;
        }
    }
    (void)pthread_detach(threadId);  // fails for a thread that is not joinable only
}

void* CMsgEngine::DealMessageThread(void* engine) {
    auto* self = static_cast<CMsgEngine*>(engine);
    CAutoString message;
    while (self->GetMessage(message)) {
        self->DoMessage(message);
    }
    self->CountThread(-1);  // the object may be gone from here on
    return nullptr;
}

bool CMsgEngine::GetMessage(CAutoString& out) {
    while (ReadRelaxed(m_Running)) {
        CLockGuard<GLockObj> guard(m_msgLock);
        if (TakeFirst(out)) {
            return true;
        }
        AwaitChange();
    }
    return false;
}

bool CMsgEngine::TakeFirst(CAutoString& out) {
    if (m_MsgQueue.empty()) {
        return false;
    }
    out = m_MsgQueue.front();
    m_MsgQueue.pop_front();
    return true;
}

// The lock is held since the look at the queue. The engine may have been stopped while it was awaited.
void CMsgEngine::AwaitChange() {
    if (m_bWaiting && ReadRelaxed(m_Running)) {
        m_changed.Wait(m_msgLock);
    }
}

void CMsgEngine::StopMsgEngine() {
    CLockGuard<GLockObj> guard(m_msgLock);
    WriteRelaxed(m_Running, false);
    m_changed.WakeAll();
}

void CMsgEngine::WaitMsgEngineEnd() {
    StopMsgEngine();
    while (HasThread()) {
        Sleep(kEndPollMs);
    }
}

bool CMsgEngine::HasThread() {
    CLockGuard<GLockObj> guard(m_msgLock);
    return m_threadCount > 0;
}

void CMsgEngine::CountThread(int change) {
    CLockGuard<GLockObj> guard(m_msgLock);
    m_threadCount += change;
}

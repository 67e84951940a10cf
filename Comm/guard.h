#pragma once

#include "lock.h"

// Policies of CLockGuard: what entering and leaving its scope do with the lock.
struct GLockObj {
    static void Enter(LockBase& lock, int mode) { lock.Lock(mode); }
    static void Leave(LockBase& lock) { lock.UnLock(); }
};

// Marks a scope that names its lock but takes none. Which scopes those are is a decision of each class and
// is told there.
struct GNothing {
    static void Enter(LockBase& /*lock*/, int /*mode*/) {}
    static void Leave(LockBase& /*lock*/) {}
};

// Scope guard over a lock; `mode` is handed to LockBase::Lock.
template <typename Policy>
class CLockGuard {
  public:
    explicit CLockGuard(LockBase& lock, int mode = 0) : m_lock(lock) { Policy::Enter(m_lock, mode); }
    ~CLockGuard() { Policy::Leave(m_lock); }
    CLockGuard(const CLockGuard&) = delete;
    CLockGuard& operator=(const CLockGuard&) = delete;

  private:
    LockBase& m_lock;
};

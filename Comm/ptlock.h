#pragma once

#include <pthread.h>

#include "lock.h"

// A recursive mutex: the thread that holds it may take it again. `mode` is ignored.
class MutexLock : public LockBase {
  public:
    MutexLock();
    ~MutexLock() override;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void Lock(int mode = 0) override;
    bool TryLock(int mode = 0) override;
    void UnLock() override;

  private:
    friend class LockCondition;
    pthread_mutex_t m_mutex;
};

// What threads wait for until something guarded by a MutexLock has changed. All operations with that lock
// held.
class LockCondition {
  public:
    LockCondition();
    // Nobody may be waiting.
    ~LockCondition();
    LockCondition(const LockCondition&) = delete;
    LockCondition& operator=(const LockCondition&) = delete;

    // Gives `lock`, which the caller holds exactly once, back for the time of the wait. May return without a
    // call of the others: the caller looks again at what it waits for.
    void Wait(MutexLock& lock);
    void WakeOne();
    void WakeAll();

  private:
    pthread_cond_t m_condition;
};

// A reader/writer lock: mode 0 takes it shared, any other mode exclusive.
class RWLock : public LockBase {
  public:
    static constexpr int kShared = 0;
    static constexpr int kExclusive = 1;

    RWLock();
    ~RWLock() override;
    RWLock(const RWLock&) = delete;
    RWLock& operator=(const RWLock&) = delete;

    void Lock(int mode) override;
    bool TryLock(int mode) override;
    void UnLock() override;

  private:
    pthread_rwlock_t m_rwlock;
};

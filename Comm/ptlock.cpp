#include "ptlock.h"

MutexLock::MutexLock() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

MutexLock::~MutexLock() {
    pthread_mutex_destroy(&m_mutex);
}

void MutexLock::Lock(int /*mode*/) {
    pthread_mutex_lock(&m_mutex);
}

bool MutexLock::TryLock(int /*mode*/) {
    return pthread_mutex_trylock(&m_mutex) == 0;
}

void MutexLock::UnLock() {
    pthread_mutex_unlock(&m_mutex);
}

LockCondition::LockCondition() {
    pthread_cond_init(&m_condition, nullptr);
}

LockCondition::~LockCondition() {
    pthread_cond_destroy(&m_condition);
}

void LockCondition::Wait(MutexLock& lock) {
    pthread_cond_wait(&m_condition, &lock.m_mutex);
}

void LockCondition::WakeOne() {
    pthread_cond_signal(&m_condition);
}

void LockCondition::WakeAll() {
    pthread_cond_broadcast(&m_condition);
}

RWLock::RWLock() {
    pthread_rwlock_init(&m_rwlock, nullptr);
}

RWLock::~RWLock() {
    pthread_rwlock_destroy(&m_rwlock);
}

void RWLock::Lock(int mode) {
    if (mode == kShared) {
        pthread_rwlock_rdlock(&m_rwlock);
    } else {
        pthread_rwlock_wrlock(&m_rwlock);
    }
}

bool RWLock::TryLock(int mode) {
    return (mode == kShared ? pthread_rwlock_tryrdlock(&m_rwlock) : pthread_rwlock_trywrlock(&m_rwlock)) == 0;
}

void RWLock::UnLock() {
    pthread_rwlock_unlock(&m_rwlock);
}

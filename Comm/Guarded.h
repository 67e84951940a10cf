#pragma once

#include <utility>

#include "guard.h"
#include "ptlock.h"

// A value that several threads read and write as a whole.
template <typename T>
class Guarded {
  public:
    void Set(T value) {
        const CLockGuard<GLockObj> guard(m_lock);
        m_value = std::move(value);
    }
    T Get() {
        const CLockGuard<GLockObj> guard(m_lock);
        return m_value;
    }

  private:
    MutexLock m_lock;
    T m_value;
};

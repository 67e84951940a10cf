#pragma once

#include <pthread.h>

#include <thread>

#include "WaitUntil.h"

// From its construction on the machine has no room for the stack of another thread, until `condition` holds.
class RefusedThreads {
  public:
    template <typename Condition>
    explicit RefusedThreads(Condition condition) {
        pthread_getattr_default_np(&m_usual);
        m_machine = std::thread([this, condition] {
            (void)WaitUntil(condition);
            pthread_setattr_default_np(&m_usual);
        });
        pthread_attr_t huge = m_usual;
        pthread_attr_setstacksize(&huge, kMoreThanThereIs);
        pthread_setattr_default_np(&huge);
    }
    ~RefusedThreads() { m_machine.join(); }

  private:
    static constexpr size_t kMoreThanThereIs = size_t{1} << 50;  // bytes

    pthread_attr_t m_usual = {};
    std::thread m_machine;
};

#pragma once

#include <pthread.h>

class CSimpleThread {
  public:
    using ThreadStart = void* (*)(void*);
    bool Run(ThreadStart start, void* argument, bool* runFlag);
    void Stopping();
    bool Stop(long timeoutMs, bool kill);

  private:
    pthread_t m_threadId = 0;
    bool* m_pbRunCtrl = nullptr;
};

#pragma once

#include <deque>

#include "AutoString.h"
#include "ptlock.h"

class CMsgEngine {
  public:
    virtual void DoMessage(CAutoString message) = 0;
    virtual ~CMsgEngine() = default;
    void AddMessage(CAutoString message);
    void StartMsgEngine();
    void StopMsgEngine();

  protected:
    std::deque<CAutoString> m_MsgQueue;
    MutexLock m_msgLock;
    bool m_Running = false;
};

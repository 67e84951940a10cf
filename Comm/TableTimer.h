#pragma once

#include <list>

#include "AutoString.h"
#include "SimpleThread.h"
#include "ptlock.h"

struct TaskInfo;

class CTableTimer {
  public:
    CTableTimer();
    virtual ~CTableTimer();
    virtual void DoTimeTask(int timeId) = 0;
    virtual void DoTimeTask(int timeId, CAutoString& tag) = 0;
    void AddTask(int timeId, int type, bool toDo, long dual, bool replace);
    void AddTask(int timeId, int type, bool toDo, long dual, bool replace, const CAutoString& tag);
    void ReAddTask(TaskInfo* entry, bool replace);
    void RemoveTask(int timeId);
    void ClearTask();
    bool IsExistTask(int timeId);
    void DispatchTask(bool start);
};

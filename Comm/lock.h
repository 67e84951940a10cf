#pragma once

// What every lock of the service can do. `mode` is read by the locks that know more than one way to be taken.
class LockBase {
  public:
    virtual ~LockBase() = default;
    virtual void Lock(int mode) = 0;
    // Returns whether the lock was taken.
    virtual bool TryLock(int mode) = 0;
    virtual void UnLock() = 0;
};

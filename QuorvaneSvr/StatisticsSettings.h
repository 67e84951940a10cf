#pragma once

#include <cstdint>
#include <map>

#include "AutoString.h"
#include "ptlock.h"

// Where and how often the portal wants the traffic of a session reported. The work thread takes it at each
// login; any thread may ask.
class CStatisticsSettings {
  public:
    struct Values {
        CAutoString url;              // empty when no reports are wanted
        int64_t intervalSeconds = 0;  // between two reports
    };

    // Takes the element "StatsInfor" of the portal's function settings (name -> element). Without one, or
    // with one that is not enabled, no reports are wanted; an interval that cannot be read leaves the one
    // before.
    void Take(const std::map<CAutoString, CAutoString>& functions);
    // At the end of the engine whose portal told them: the next one begins without.
    void Forget();
    Values Get();

  private:
    MutexLock m_lock;
    Values m_values;  // guarded by m_lock
};

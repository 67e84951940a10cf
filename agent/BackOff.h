#pragma once

#include <chrono>
#include <cstddef>

// The pauses between tries that fail one after the other. The first try again comes at once, for most faults
// are short; the longer a fault lasts, the less the portal is asked. Chance spreads the pauses, so that the
// machines of a campus do not all come back in the same second.
class BackOff {
  public:
    // The next pause of the series; the last one repeats. `chance` is a number from 0 up to 1.
    std::chrono::milliseconds Next(double chance);
    // The series begins anew.
    void Reset() { m_next = 0; }

  private:
    size_t m_next = 0;
};

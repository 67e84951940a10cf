#include "BackOff.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr int kPauseSeconds[] = {0, 5, 10, 20, 40, 80, 160, 300};
constexpr double kSpread = 0.2;  // of a pause, to either side

}  // namespace

std::chrono::milliseconds BackOff::Next(double chance) {
    const double seconds = kPauseSeconds[m_next] * (1 - kSpread + 2 * kSpread * chance);
    m_next = std::min(m_next + 1, std::size(kPauseSeconds) - 1);
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

#include "StatisticsSettings.h"

#include <cerrno>
#include <cstdlib>

#include "Markup.h"
#include "guard.h"

namespace {

constexpr char kStatisticsSetting[] = "StatsInfor";

// Leaves `seconds` untouched when the text is no number, or one that is negative or does not fit.
void ReadSeconds(const CAutoString& text, int64_t& seconds) {
    errno = 0;
    char* end = nullptr;
    const long long number = strtoll(text, &end, 10);
    if (errno == 0 && end != text.GetBuffer() && number >= 0) {
        seconds = number;
    }
}

}  // namespace

void CStatisticsSettings::Take(const std::map<CAutoString, CAutoString>& functions) {
    const auto setting = functions.find(kStatisticsSetting);
    CMarkup element;
    const bool isEnabled = setting != functions.end() && element.SetDoc(setting->second) &&
                           element.FindElem() && atoi(element.GetAttrib("enable")) == 1;
    const CLockGuard<GLockObj> guard(m_lock);
    m_values.url = isEnabled ? element.GetAttrib("url") : CAutoString();
    if (isEnabled) {
        ReadSeconds(element.GetAttrib("interval"), m_values.intervalSeconds);
    }
}

void CStatisticsSettings::Forget() {
    const CLockGuard<GLockObj> guard(m_lock);
    m_values = {};
}

CStatisticsSettings::Values CStatisticsSettings::Get() {
    const CLockGuard<GLockObj> guard(m_lock);
    return m_values;
}

// Traffic statistics of a login, and the log-out that runs through their final report.
#include <cerrno>
#include <cstdlib>
#include <string>

#include "Log.h"
#include "Markup.h"
#include "PortalConn.h"
#include "PortalServer.h"

using QuorvaneSvr::Task;

namespace {

constexpr char kStatisticsSetting[] = "StatsInfor";

// The tag of a statistics task: what kind of report, and the reason of the log-out that follows it.
CAutoString MakeStatisticsTag(tag_STATISTICS_TYPE type, const CAutoString& next) {
    CMarkup tag;
    tag.AddElem("tag");
    tag.AddChildElem("type", std::to_string(type).c_str());
    tag.AddChildElem("next", next);
    return tag.GetDoc();
}

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

// A front end's log-out, and that after sharing was found, report the traffic first.
void CPortalServer::DisConnect(CAutoString src) {
    (void)NetworkTraffic(LOGOUT, src);  // without statistics there is nothing to schedule, and no log-out
}

int CPortalServer::NetworkTraffic(tag_STATISTICS_TYPE type, const CAutoString& next) {
    if (m_pPortalConn == nullptr || m_pPortalConn->GetPortalConf() == nullptr) {
        return -1;
    }
    if (type == LOGIN) {
        ReadStatisticsSettings();
    }
    const StatisticsSettings settings = GetStatisticsSettings();
    CLog::GetInst()->WriteLog(INFO, "[CPortalServer::NetworkTraffic] trafficStatisticsURL is :%s",
                              settings.url.GetBuffer());
    if (settings.url.IsEmpty()) {
        return -1;
    }
    const CAutoString tag = MakeStatisticsTag(type, next);
    if (type == TIMING) {
        ArmTask(QuorvaneSvr::trafficStatistics, false, static_cast<long>(settings.intervalSeconds), false,
                tag);
    } else {
        ArmTask(QuorvaneSvr::trafficStatistics, true, 0, true, tag);
    }
    return 0;
}

void CPortalServer::ReadStatisticsSettings() {
    CAuthConfig& record = *m_pPortalConn->GetPortalConf();
    const auto setting = record.funCfg.find(kStatisticsSetting);
    CMarkup element;
    const bool isEnabled = setting != record.funCfg.end() && element.SetDoc(setting->second) &&
                           element.FindElem() && atoi(element.GetAttrib("enable")) == 1;
    const CLockGuard<GLockObj> guard(m_statisticsLock);
    record.trafficStatisticsURL = isEnabled ? element.GetAttrib("url") : CAutoString();
    if (isEnabled) {
        ReadSeconds(element.GetAttrib("interval"), record.trafficStatisticsInterval);
    }
}

CPortalServer::StatisticsSettings CPortalServer::GetStatisticsSettings() {
    const CAuthConfig& record = *m_pPortalConn->GetPortalConf();
    const CLockGuard<GLockObj> guard(m_statisticsLock);
    return {record.trafficStatisticsURL, record.trafficStatisticsInterval};
}

void CPortalServer::trafficStatistics(Task& task) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    CXMLOpt tag(task.tag);
    if (tag.GetValue("type").IsEmpty()) {
        return;
    }
    const auto type = static_cast<tag_STATISTICS_TYPE>(tag.GetIntValue("type"));
    const CAutoString next = tag.GetValue("next");
    (void)NetworkTrafficStatistics(type);  // a report that fails holds nothing up
    if (type == LOGOUT) {
        QueueTask(QuorvaneSvr::term, QuorvaneSvr::high, next);
    } else if (type == LOGIN || type == TIMING) {
        StopTask(QuorvaneSvr::trafficStatistics);
        (void)NetworkTraffic(TIMING, next);
    }
}

int CPortalServer::NetworkTrafficStatistics(tag_STATISTICS_TYPE type) {
    if (m_pPortalConn == nullptr) {
        return -1;
    }
    const CAuthConfig& record = *m_pPortalConn->GetPortalConf();
    return m_TrafficStatistics.NetworkTrafficStatistics(record.trafficStatisticsURL, record.userName,
                                                        record.schoolId, record.ip4, record.wlancip, type);
}

// Traffic statistics of a login, and the log-out that runs through their final report.
#include <string>

#include "Log.h"
#include "Markup.h"
#include "PortalConn.h"
#include "PortalServer.h"

using QuorvaneSvr::Task;

namespace {

// The tag of a statistics task: what kind of report, and the reason of the log-out that follows it.
CAutoString MakeStatisticsTag(tag_STATISTICS_TYPE type, const CAutoString& next) {
    CMarkup tag;
    tag.AddElem("tag");
    tag.AddChildElem("type", std::to_string(type).c_str());
    tag.AddChildElem("next", next);
    return tag.GetDoc();
}

}  // namespace

// A front end's log-out, and that after sharing was found, report the traffic first.
void CPortalServer::DisConnect(CAutoString src) {
    (void)NetworkTraffic(LOGOUT, src);  // without statistics there is nothing to schedule, and no log-out
}

int CPortalServer::NetworkTraffic(tag_STATISTICS_TYPE type, const CAutoString& next) {
    if (m_pPortalConn == nullptr) {
        return -1;
    }
    if (type == LOGIN) {
        m_statisticsSettings.Take(m_pPortalConn->GetRecord().funCfg);
    }
    const CStatisticsSettings::Values settings = m_statisticsSettings.Get();
    CLog::GetInst()->WriteLog(INFO, "[CPortalServer::NetworkTraffic] trafficStatisticsURL is :%s",
                              settings.url.GetBuffer());
    if (settings.url.IsEmpty()) {
        return -1;
    }
    const CAutoString tag = MakeStatisticsTag(type, next);
    if (type == TIMING) {
        ArmTaskIn(static_cast<long>(settings.intervalSeconds), QuorvaneSvr::trafficStatistics, IfArmed::kKeep,
                  tag);
    } else {
        ArmTaskNow(QuorvaneSvr::trafficStatistics, IfArmed::kReplace, tag);
    }
    return 0;
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
    const CAuthConfig& record = m_pPortalConn->GetRecord();
    return m_TrafficStatistics.NetworkTrafficStatistics(m_statisticsSettings.Get().url, record.userName,
                                                        record.schoolId, record.ip4, record.wlancip, type);
}

// The work thread of the portal business: one handler for each kind of task, which calls the protocol engine
// and names the next step.
#include <cstdio>
#include <iterator>

#include "ClientOperations.h"
#include "ElementText.h"
#include "Log.h"
#include "PortalCodes.h"
#include "PortalConn.h"
#include "PortalServer.h"
#include "RelaxedAccess.h"

using QuorvaneSvr::Task;
using QuorvaneSvr::TaskItem;
using QuorvaneSvr::TaskLevel;

namespace {

constexpr unsigned kIdleRestMs = 500;               // between two looks at an empty queue
constexpr long kWorkStopMs = 1000;                  // an invalid wait for CSimpleThread: it fails at once
constexpr long kUnknownNetStopMs = 2000;            // likewise
constexpr long kUnknownNetDelaySeconds = 5;         // before an unknown network is probed again
constexpr long kFirstSharingCheckDelaySeconds = 2;  // after a login
constexpr unsigned kUnknownNetRestMs = 500;         // of the re-check thread
constexpr int kUnknownNetRests = 600;               // 300 seconds between two re-checks

}  // namespace

// Every kind of task: what runs it, and the level that it gets when the timer queues it.
struct CPortalServer::TaskKind {
    TaskItem item;
    TaskHandler handler;
    TaskLevel timerLevel;
};

// clang-format off
constexpr CPortalServer::TaskKind CPortalServer::kTaskKinds[] = {
    {QuorvaneSvr::noTask,            nullptr, QuorvaneSvr::normal},
    {QuorvaneSvr::checkNet,          &CPortalServer::checkNet, QuorvaneSvr::mostHigh},
    {QuorvaneSvr::checkUnknowNet,    &CPortalServer::checkUnknowNet, QuorvaneSvr::normal},
    {QuorvaneSvr::reqConfig,         &CPortalServer::reqConfig, QuorvaneSvr::normal},
    {QuorvaneSvr::reqTicket,         &CPortalServer::reqTicket, QuorvaneSvr::mostHigh},
    {QuorvaneSvr::reqState,          &CPortalServer::reqState, QuorvaneSvr::normal},
    {QuorvaneSvr::auth,              &CPortalServer::auth, QuorvaneSvr::normal},
    {QuorvaneSvr::term,              &CPortalServer::term, QuorvaneSvr::normal},
    {QuorvaneSvr::pluse,             &CPortalServer::pluse, QuorvaneSvr::high},
    {QuorvaneSvr::checkWifi,         &CPortalServer::checkWifi, QuorvaneSvr::low},
    {QuorvaneSvr::termForWifi,       &CPortalServer::termForWifi, QuorvaneSvr::low},
    {QuorvaneSvr::terminal,          &CPortalServer::TerminalRequestFun, QuorvaneSvr::high},
    {QuorvaneSvr::terminalTerm,      &CPortalServer::TerminalTermRequestFun, QuorvaneSvr::high},
    {QuorvaneSvr::keepPort,          nullptr, QuorvaneSvr::high},
    {QuorvaneSvr::trafficStatistics, &CPortalServer::trafficStatistics, QuorvaneSvr::high},
};
// clang-format on

constexpr bool CPortalServer::AreTaskKindsInOrder() {
    for (size_t i = 0; i < std::size(kTaskKinds); ++i) {
        if (kTaskKinds[i].item != static_cast<TaskItem>(i)) {
            return false;
        }
    }
    return std::size(kTaskKinds) == QuorvaneSvr::taskCount;
}

void CPortalServer::Work(int start) {
    if (start == 0) {
        StopAllTask();
        (void)m_threadWork.Stop(kWorkStopMs, true);  // a thread that has not ended takes the process with it
        return;
    }
    if (!m_threadWork.Run(WorkThread, this, &m_bWorking)) {
        printf("Work thread error, try againt");
        (void)m_threadWork.RunWhenAllowed(WorkThread, this, &m_bWorking);
    }
}

void* CPortalServer::WorkThread(void* server) {
    static_cast<CPortalServer*>(server)->Work();
    return nullptr;
}

void CPortalServer::Work() {
    while (ReadRelaxed(m_bWorking)) {
        Task task;
        if (!m_taskMgr.GetTask(task)) {
            Sleep(kIdleRestMs);
            continue;
        }
        RunTask(task);
    }
}

// A number that names no kind of task is like noTask.
const CPortalServer::TaskKind& CPortalServer::KindOf(TaskItem item) {
    static_assert(AreTaskKindsInOrder(), "one row for each kind, at the place of its number");
    const bool isKnown = item >= QuorvaneSvr::noTask && item < QuorvaneSvr::taskCount;
    return kTaskKinds[isKnown ? item : QuorvaneSvr::noTask];
}

// Runs a task and the steps chained to it.
void CPortalServer::RunTask(Task& task) {
    while (task.curTask != QuorvaneSvr::noTask) {
        const TaskHandler handler = KindOf(task.curTask).handler;
        if (handler != nullptr) {
            (this->*handler)(task);
        }
        if (task.nextTask == QuorvaneSvr::noTask) {
            return;
        }
        task.curTask = task.nextTask;
        task.nextTask = QuorvaneSvr::noTask;
        CLog::GetInst()->WriteLog(INFO, "cur task is %d,next task is %d", task.curTask, task.nextTask);
    }
}

void CPortalServer::DoTimeTask(int timeId) {
    CAutoString noTag;
    DoTimeTask(timeId, noTag);
}

void CPortalServer::DoTimeTask(int timeId, CAutoString& tag) {
    const auto item = static_cast<TaskItem>(timeId);
    QueueTask(item, KindOf(item).timerLevel, tag);
}

void CPortalServer::QueueTask(TaskItem item, TaskLevel level, const char* tag) {
    Task task;
    task.curTask = item;
    task.level = level;
    task.tag = tag;
    m_taskMgr.AddTask(task);
}

void CPortalServer::ArmTaskNow(TaskItem item, IfArmed ifArmed, const CAutoString& tag) {
    CTableTimer::AddTask(item, kOneShot, true, 0, ifArmed == IfArmed::kReplace, tag);
}

void CPortalServer::ArmTaskIn(long seconds, TaskItem item, IfArmed ifArmed, const CAutoString& tag) {
    CTableTimer::AddTask(item, kOneShot, false, seconds, ifArmed == IfArmed::kReplace, tag);
}

// The timer first: an entry that fires in between is in the queue by then, and goes with the rest of it.
// Held by WorkLoop.KeepsItsPromisesInEveryOrderOfEvents.
void CPortalServer::StopTask(TaskItem item) {
    CTableTimer::RemoveTask(item);
    m_taskMgr.RemoveTask(item);
}

// The re-probe of an unknown network survives: it is how such a network is left again.
void CPortalServer::StopAllTask() {
    CLog::GetInst()->WriteLog(INFO, "stop all task");
    for (int item = QuorvaneSvr::checkNet; item < QuorvaneSvr::taskCount; ++item) {
        if (item != QuorvaneSvr::checkUnknowNet) {
            StopTask(static_cast<TaskItem>(item));
        }
    }
}

void CPortalServer::checkNet(Task& /*task*/) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    CLog::GetInst()->WriteLog(INFO, "check net status start");
    m_pPortalConn->NetStateChange(INetConn::ES_PRECONNECTING, INetConn::ES_PRECONNECTING,
                                  StateCode::kCheckStarted, "");
    CAutoString adapter;
    if (!FindAdapter(adapter)) {
        CLog::GetInst()->WriteLog(INFO, "no valid net card");
        ReportPreConnectFail(StateCode::kNoAdapter);
        WriteRelaxed(m_bPortalEnv, 0);
        m_pPortalConn->ExitPrepare();
        return;
    }
    CAutoString ip4;
    CAutoString ip6;
    CAutoString mac;
    int family = kNoAddressFamily;
    const int result = ReadAddresses(adapter, ip4, ip6, mac, family);
    m_pPortalConn->NoteAddressFamily(family);
    if (result != 1) {
        ReportPreConnectFail(StateCode::kAddressesUnavailable);
        return;
    }
    m_pPortalConn->NoteAddresses(ip4, ip6, mac);
    m_pPortalConn->SetServerIp();
    FollowNetCheck(m_pPortalConn->RequestConfig(0));
}

void CPortalServer::ReportPreConnectFail(int code) {
    m_pPortalConn->NetStateChange(INetConn::ES_PRECONNECTING, INetConn::ES_PRECONNECTFAIL, code, "");
}

void CPortalServer::FollowNetCheck(int result) {
    Task next;
    if (result == PortalResult::kSuccess) {
        WriteRelaxed(m_bPortalEnv, 1);
        m_pPortalConn->ResetNetConfig();
        CLog::GetInst()->WriteLog(INFO, "[CPortalServer::checkNet]reqTicket...");
        next.curTask = QuorvaneSvr::reqTicket;
    } else if (result == PortalResult::kFailure) {
        WriteRelaxed(m_bPortalEnv, 0);
        CLog::GetInst()->WriteLog(INFO, "check net status is fail");
        ReportPreConnectFail(StateCode::kDiscoveryFailed);
    } else if (m_pPortalConn->GetConnCfg() == 1) {
        // The network is open because an earlier run of this service left its login standing.
        CLog::GetInst()->WriteLog(INFO, "net is connected,now disconnect");
        next.curTask = QuorvaneSvr::term;
        next.nextTask = QuorvaneSvr::checkNet;
        next.tag = LogoutReason::kRecordedLogin;
    } else {
        ChangeToUnknowEnv();
    }
    m_taskMgr.AddTask(next);
}

int CPortalServer::GetIpAndMac(CAutoString& ip4, CAutoString& ip6, CAutoString& mac, int& family) {
    family = kNoAddressFamily;
    CAutoString adapter;
    return FindAdapter(adapter) ? ReadAddresses(adapter, ip4, ip6, mac, family) : -1;
}

int CPortalServer::GetIpAndMac(CAutoString& ip4, CAutoString& ip6, CAutoString& mac) {
    int family = kNoAddressFamily;
    const int result = GetIpAndMac(ip4, ip6, mac, family);
    if (m_pPortalConn != nullptr) {
        m_pPortalConn->NoteAddressFamily(family);
    }
    return result;
}

bool CPortalServer::FindAdapter(CAutoString& name) {
    return m_pNetHelper->GetActiveCardName(name) == 0 || m_pNetHelper->GetActiveInterfaceNameIPv6(name) == 0;
}

int CPortalServer::ReadAddresses(const CAutoString& adapter, CAutoString& ip4, CAutoString& ip6,
                                 CAutoString& mac, int& family) {
    family = kNoAddressFamily;
    if (m_pNetHelper->GetIpAndMac(adapter, ip4, mac) >= 0) {
        family = kIPv4Family;
        return 1;
    }
    if (m_pNetHelper->GetIPAddress(kIPv6Family, adapter, ip6) == -1) {
        return -1;
    }
    family = kIPv6Family;
    return 1;
}

int CPortalServer::SetDNS(CAutoString& dns1, CAutoString& dns2) {
    return m_NetHelper.SetDNSServers(dns1, dns2);
}

void CPortalServer::ChangeToUnknowEnv() {
    CLog::GetInst()->WriteLog(INFO, "net is connected and not connected by myself, is unknow type");
    StopAllTask();
    WriteRelaxed(m_bPortalEnv, 0);
    PostNetStateMessage(INetConn::ET_UNKNOWN, INetConn::ES_CONNECTING, INetConn::ES_CONNECTED, 0, "");
    ArmTaskIn(kUnknownNetDelaySeconds, QuorvaneSvr::checkUnknowNet, IfArmed::kReplace);
}

void CPortalServer::checkUnknowNet(Task& /*task*/) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    CLog::GetInst()->WriteLog(INFO, "checkUnknowNet");
    if (IsPortalEnv() != 0) {
        CLog::GetInst()->WriteLog(INFO, "checkUnknowNet return portal env");
        return;
    }
    const int result = m_pPortalConn->RequestConfig(0);
    if (result == PortalResult::kSuccess) {
        CLog::GetInst()->WriteLog(INFO, "env change to portal");
        QueueTask(QuorvaneSvr::reqTicket);
    } else if (result == PortalResult::kNegative) {
        CLog::GetInst()->WriteLog(INFO, "env still unknow env");
        QueueTask(QuorvaneSvr::reqState);
    } else {
        ArmTaskIn(kUnknownNetDelaySeconds, QuorvaneSvr::checkUnknowNet, IfArmed::kReplace);
    }
}

// The configuration comes with the network check; this kind of task has nothing left to do.
void CPortalServer::reqConfig(Task& /*task*/) {}

void CPortalServer::reqTicket(Task& task) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    const int result = m_pPortalConn->RequestTicket();
    if (result == PortalResult::kRepeat) {
        m_taskMgr.AddTask(task);
    } else if (result == TicketResult::kServerChanged) {
        QueueTask(QuorvaneSvr::checkNet);
    } else if (result == PortalResult::kSuccess) {
        const CAuthConfig& record = m_pPortalConn->GetRecord();
        ArmTaskIn(record.expire, QuorvaneSvr::reqTicket, IfArmed::kReplace);
        ArmTaskNow(QuorvaneSvr::reqState, IfArmed::kKeep);
    }
}

void CPortalServer::reqState(Task& task) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    const int result = m_pPortalConn->CheckConnectState(1);
    switch (result) {
        case PortalResult::kRepeat: m_taskMgr.AddTask(task); break;
        case PortalResult::kSuccess: StartKeepingLogin(); break;
        case PortalResult::kLoginEnded:
            StopTask(QuorvaneSvr::pluse);
            StopTask(QuorvaneSvr::checkWifi);
            StopTask(QuorvaneSvr::termForWifi);
            StopTask(QuorvaneSvr::trafficStatistics);
            QueueTask(QuorvaneSvr::reqTicket);
            break;
        case PortalResult::kFailure: break;
        default:
            ArmTaskIn(static_cast<long>(m_pPortalConn->GetRecord().stateInterval), QuorvaneSvr::reqState,
                      IfArmed::kKeep);
            break;
    }
}

void CPortalServer::auth(Task& task) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    const int result = m_pPortalConn->Connect(task.tag);
    if (result == PortalResult::kRepeat) {
        m_taskMgr.AddTask(task);
    } else if (result == PortalResult::kSuccess) {
        StartKeepingLogin();
        (void)NetworkTraffic(LOGIN, "");  // a portal without statistics is no failure
    } else {
        QueueTask(QuorvaneSvr::reqTicket, QuorvaneSvr::high);  // the client sends its login again
    }
}

void CPortalServer::StartKeepingLogin() {
    const CAuthConfig& record = m_pPortalConn->GetRecord();
    WriteRelaxed(m_bPortalEnv, 1);
    StopTask(QuorvaneSvr::reqTicket);
    StopTask(QuorvaneSvr::reqState);
    ArmTaskNow(QuorvaneSvr::pluse, IfArmed::kReplace);
    if (record.checkWifiInterval != 0) {
        ArmTaskIn(kFirstSharingCheckDelaySeconds, QuorvaneSvr::checkWifi, IfArmed::kReplace);
    }
}

void CPortalServer::term(Task& task) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    const int result = m_pPortalConn->DisConnect(task.tag);
    if (result == PortalResult::kRepeat) {
        m_taskMgr.AddTask(task);
        return;
    }
    if (result != PortalResult::kSuccess) {
        return;
    }
    StopTask(QuorvaneSvr::pluse);
    StopTask(QuorvaneSvr::checkWifi);
    StopTask(QuorvaneSvr::termForWifi);
    if (task.tag != LogoutReason::kFinal && task.tag != LogoutReason::kShutdown) {
        QueueTask(QuorvaneSvr::reqTicket);
    }
}

void CPortalServer::pluse(Task& task) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    CLog::GetInst()->WriteLog(INFO, "pulse");
    const int result = m_pPortalConn->KeepPluse();
    switch (result) {
        case PortalResult::kRepeat: m_taskMgr.AddTask(task); break;
        case PortalResult::kNegative:
        case PortalResult::kSuccess:
            ArmTaskIn(m_pPortalConn->GetRecord().iInterval, QuorvaneSvr::pluse, IfArmed::kReplace);
            break;
        case PortalResult::kLoginEnded:
            StopTask(QuorvaneSvr::pluse);
            QueueTask(QuorvaneSvr::reqState);
            break;
        default:
            StopTask(QuorvaneSvr::pluse);
            QueueTask(QuorvaneSvr::term, QuorvaneSvr::normal, LogoutReason::kKeepAliveFailed);
            break;
    }
}

void CPortalServer::checkWifi(Task& /*task*/) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    const CAuthConfig& record = m_pPortalConn->GetRecord();
    if (record.againstList.IsEmpty()) {
        return;
    }
    m_pPortalConn->NoteSharing(CheckWiFiShare(record.againstList));
    if (record.checkResult == 0) {
        ArmTaskIn(static_cast<long>(record.checkWifiInterval), QuorvaneSvr::checkWifi, IfArmed::kReplace);
        return;
    }
    StopTask(QuorvaneSvr::checkWifi);
    ArmTaskIn(static_cast<long>(record.logoutDelay), QuorvaneSvr::termForWifi, IfArmed::kKeep);
    CLog::GetInst()->WriteLog(INFO, "%s", m_WiFiSharedValidate.GetDisplayName());
}

int CPortalServer::CheckWiFiShare(const char* againstList) {
    return m_WiFiSharedValidate.IsValidEnvironment(againstList);
}

void CPortalServer::termForWifi(Task& /*task*/) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    DisConnect(LogoutReason::kSharing);
}

void CPortalServer::TerminalRequestFun(Task& /*task*/) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    CAutoString terminals;
    const int result = m_pPortalConn->TerminalRequestData(terminals);
    if (result != PortalResult::kSuccess) {
        CLog::GetInst()->WriteLog(INFO, "TerminalRequestData request error:ret:%d", result);
        PostMsg(kPortalBusiness, ClientReport::kTerminalData, nullptr);
        return;
    }
    const CAuthConfig& record = m_pPortalConn->GetRecord();
    CAutoString self;
    self.Format("<host>%s</host><ticket>%s</ticket>", ElementText(record.hostName).GetBuffer(),
                ElementText(record.strTicket).GetBuffer());
    terminals += self;
    PostMsg(kPortalBusiness, ClientReport::kTerminalData, terminals);
    CLog::GetInst()->WriteLog(INFO, "post TERMINAL_RESP param is %s", terminals.GetBuffer());
}

void CPortalServer::TerminalTermRequestFun(Task& /*task*/) {
    if (m_pPortalConn == nullptr) {
        return;
    }
    const int result = m_pPortalConn->TerminalTermRequest(m_otherTicket.Get());
    if (result == PortalResult::kSuccess) {
        QueueTask(QuorvaneSvr::terminal, QuorvaneSvr::high);
        return;
    }
    CAutoString code;
    code.Format("<code>%d</code>", result);
    PostMsg(kPortalBusiness, ClientReport::kTerminalTerm, code);
}

void CPortalServer::CheckUnknowNetState(bool start) {
    if (start) {
        (void)m_threadUnknowCheck.Run(CheckUnknowNetStateThread, this, &m_bCheckUnknowNetState);
    } else {
        (void)m_threadUnknowCheck.Stop(kUnknownNetStopMs, false);  // it ends at its next look at the flag
    }
}

void* CPortalServer::CheckUnknowNetStateThread(void* server) {
    auto& self = *static_cast<CPortalServer*>(server);
    bool& isWanted = self.m_bCheckUnknowNetState;
    for (int rests = 1; ReadRelaxed(isWanted); ++rests) {
        Sleep(kUnknownNetRestMs);
        if (!ReadRelaxed(isWanted) || self.m_pPortalConn == nullptr) {
            return nullptr;
        }
        if (rests % kUnknownNetRests != 0) {
            continue;
        }
        CLog::GetInst()->WriteLog(INFO, "checking unknow net status,request config");
        if (self.m_pPortalConn->RequestConfig(0) == PortalResult::kSuccess) {
            WriteRelaxed(isWanted, false);
        }
    }
    return nullptr;
}

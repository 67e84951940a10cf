#pragma once

#include <memory>

#include "AdapterCard.h"
#include "Business.h"
#include "CTrafficStatistics.h"
#include "Guarded.h"
#include "IPortalHost.h"
#include "InfoCenter.h"
#include "NetHelper.h"
#include "RelaxedAccess.h"
#include "SimpleThread.h"
#include "StatisticsSettings.h"
#include "TableTimer.h"
#include "TaskMgr.h"
#include "WiFiSharedValidate.h"

class CPortalConn;

// The business "Portal". Its client operations (message thread; of the console client Start on the main
// thread and the others on its own) only queue tasks and arm timers, besides the first Start, which makes the
// protocol engine and starts the threads; the work thread takes the tasks one by one and drives the engine,
// and names the next step. The timer thread turns due entries into tasks. Run flags and m_bPortalEnv are
// plain fields, written and read without a lock (RelaxedAccess.h): a reader that sees a value one round late
// does no harm.
class CPortalServer : public CBusiness, private CTableTimer, public IPortalHost {
  public:
    CPortalServer();
    // Waits for every thread of this business: for a request to the portal as long as that takes.
    ~CPortalServer() override;
    // Created on first use, during start-up, before any second thread exists; never destroyed.
    static CPortalServer* GetInst();

    // Keeps the server and registers this business with it as "Portal".
    void InitService(IServer* server) override;
    // The link has failed (main thread): gives the resolver file back, stops the work and logs out a recorded
    // login (CPortalConn::GetConnCfg). A work thread that still runs ends the process before the log-out.
    void ServerStatus(int code) override;
    void InitOpcodeFun() override;
    using CBusiness::PostMsg;
    // Sends one envelope signed "NetModule". A null `param` sends nothing.
    void PostMsg(const char* target, const char* opcode, const char* param) override;
    void SetInfoCenter(CInfoCenter* infoCenter) { m_pInfoCenter = infoCenter; }
    CInfoCenter* GetInfoCenter() override { return m_pInfoCenter; }

    // Client operations. `source` names the sender, `document` is the whole envelope. None waits for the
    // portal: what comes of it is reported.
    // The first start makes the protocol engine and starts timer and work thread; a further one, of a front
    // end that has attached anew, is told the state.
    void Start(const char* source, CXMLOpt& document);
    void CheckEnv(const char* source, CXMLOpt& document);
    void Connect(const char* source, CXMLOpt& document);
    void DisConnect(const char* source, CXMLOpt& document);
    void TerminalRequest(const char* source, CXMLOpt& document);
    void TerminalTermRequest(const char* source, CXMLOpt& document);
    // Starts a network check in `delay` seconds, in place of one that is waiting.
    void CheckNetStatus(int delay);

    // State reports to the front ends. Texts may have any characters. Any thread.
    void PostNetStateMessage(INetConn::ETYPE type, INetConn::ESTATE oldState, INetConn::ESTATE newState,
                             int errorCode, CAutoString subErrCode) override;
    void PostNetStateMessageEx(INetConn::ETYPE type, INetConn::ESTATE oldState, INetConn::ESTATE newState,
                               int errorCode, const char* subType, const char* extra) override;

    // Starts (non-zero) or stops the work thread. Starting waits for as long as the machine refuses a thread.
    // Stopping waits for it only as CSimpleThread::Stop does.
    void Work(int start);
    // Drops the tasks of that kind that wait, in the queue or armed; one that runs goes on. Any thread.
    void StopTask(QuorvaneSvr::TaskItem item);
    // The same for every kind but checkUnknowNet.
    void StopAllTask();
    // The body of the work thread, which WorkThread starts: takes tasks until it is stopped.
    static void* WorkThread(void* server);
    void Work();

    // For the protocol engine, on its thread.
    BOOL IsPortalEnv() override { return ReadRelaxed(m_bPortalEnv); }
    int SetDNS(CAutoString& dns1, CAutoString& dns2) override;
    int GetIpAndMac(CAutoString& ip4, CAutoString& ip6, CAutoString& mac, int& family) override;
    void ChangeToUnknowEnv() override;
    // Log-out through the statistics: the final report first, then the log-out. Schedules nothing when the
    // portal asked for no statistics. Any thread.
    void DisConnect(CAutoString src) override;

    // Schedules a statistics report; `next` is the reason of the log-out that follows a final one. 0, or -1
    // without an engine and when the portal asked for none. A login takes the portal's settings first, and
    // belongs to the work thread; any thread may ask for the others.
    int NetworkTraffic(tag_STATISTICS_TYPE type, const CAutoString& next);
    // Takes the baseline or sends the report (work thread). Results as in CTrafficStatistics.
    int NetworkTrafficStatistics(tag_STATISTICS_TYPE type);
    // 1 when the connection is shared as the portal's "user-config" element `againstList` forbids, else 0.
    int CheckWiFiShare(const char* againstList);

    // What becomes of a due timer entry (timer thread): a task of the same number.
    void DoTimeTask(int timeId) override;
    void DoTimeTask(int timeId, CAutoString& tag) override;

    // One handler for each kind of task; they belong to the work thread. Without a protocol engine, before
    // the first ClientStart and after the end, they do nothing.
    void checkNet(QuorvaneSvr::Task& task);
    void checkUnknowNet(QuorvaneSvr::Task& task);
    void reqConfig(QuorvaneSvr::Task& task);
    void reqTicket(QuorvaneSvr::Task& task);
    void reqState(QuorvaneSvr::Task& task);
    void auth(QuorvaneSvr::Task& task);
    void term(QuorvaneSvr::Task& task);
    void pluse(QuorvaneSvr::Task& task);
    void checkWifi(QuorvaneSvr::Task& task);
    void termForWifi(QuorvaneSvr::Task& task);
    void TerminalRequestFun(QuorvaneSvr::Task& task);
    void TerminalTermRequestFun(QuorvaneSvr::Task& task);
    void trafficStatistics(QuorvaneSvr::Task& task);

    // Not used by the service.
    // A second watch over an unknown network, beside the task checkUnknowNet: a thread that asks for a portal
    // every five minutes until it finds one or is stopped. No other thread may be using the protocol engine.
    void CheckUnknowNetState(bool start);
    static void* CheckUnknowNetStateThread(void* server);
    // The addresses, noting their family in the engine's record, on whose thread it belongs.
    int GetIpAndMac(CAutoString& ip4, CAutoString& ip6, CAutoString& mac);
    // The queries of the machine's adapters.
    CAdapterCard* GetNetHelper() { return m_pNetHelper.get(); }

  private:
    using TaskHandler = void (CPortalServer::*)(QuorvaneSvr::Task& task);
    struct TaskKind;
    static const TaskKind kTaskKinds[];
    static constexpr bool AreTaskKindsInOrder();
    static const TaskKind& KindOf(QuorvaneSvr::TaskItem item);

    void RunTask(QuorvaneSvr::Task& task);
    void QueueTask(QuorvaneSvr::TaskItem item, QuorvaneSvr::TaskLevel level = QuorvaneSvr::normal,
                   const char* tag = "");
    // What happens to a task of the same kind that is armed already.
    enum class IfArmed { kKeep, kReplace };
    void ArmTaskNow(QuorvaneSvr::TaskItem item, IfArmed ifArmed, const CAutoString& tag = CAutoString());
    void ArmTaskIn(long seconds, QuorvaneSvr::TaskItem item, IfArmed ifArmed,
                   const CAutoString& tag = CAutoString());

    void TellState();
    bool FindAdapter(CAutoString& name);
    int ReadAddresses(const CAutoString& adapter, CAutoString& ip4, CAutoString& ip6, CAutoString& mac,
                      int& family);
    void FollowNetCheck(int result);
    void StartKeepingLogin();
    void ReportPreConnectFail(int code);

    static CPortalServer* m_pPortalServer;

    CInfoCenter* m_pInfoCenter = nullptr;
    // The protocol engine, owned. Made by the first Start before the work thread exists, deleted at the end
    // after the message thread and the work thread have gone: hence without a lock. What the console client
    // calls on its thread does not touch it.
    CPortalConn* m_pPortalConn = nullptr;
    bool m_bCheckUnknowNetState = false;  // run flag of the thread below, which clears it once it is done
    CSimpleThread m_threadUnknowCheck;
    BOOL m_bPortalEnv = 0;  // whether a portal guards the network; written by the work thread
    std::unique_ptr<CAdapterCard> m_pNetHelper = std::make_unique<CAdapterCard>();
    CNetHelper m_NetHelper;
    CWiFiSharedValidate m_WiFiSharedValidate;
    CTrafficStatistics m_TrafficStatistics;
    CStatisticsSettings m_statisticsSettings;
    QuorvaneSvr::CTaskMgr m_taskMgr;
    bool m_bWorking = true;  // run flag of the thread below
    CSimpleThread m_threadWork;
    Guarded<CAutoString> m_otherTicket;  // of the terminal that a front end wants logged out

    // Not used by the service.
    // For a network check on a thread of its own, and a mark that sharing is looked for.
    CSimpleThread m_threadCheckNet;
    BOOL m_bCheckWifiShareing = 0;
};

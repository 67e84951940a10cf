#pragma once

#include "AutoString.h"
#include "Exchange.h"
#include "INetConn.h"
#include "IPortalHost.h"
#include "LastReport.h"
#include "PortalParser.h"
#include "PublishedValues.h"
#include "PushedServers.h"
#include "RelaxedAccess.h"
#include "ServerCluster.h"
#include "TaskMgr.h"
#include "comm.h"
#include "ptlock.h"

// The client side of the portal's protocol: finds the portal, fetches its configuration, gets a ticket, logs
// in, keeps the login alive, checks its state and logs out, and reports every change of state to its host.
// Operations that ask the portal block until it has answered and belong to one thread at a time: the work
// thread, and whoever shuts the business down after it has ended. Init comes before it starts. The message
// thread may call GetNetState (it sees the state of a moment ago), ReloadServerLists and
// PostLastNetStateMessage at any time. Each stage has a source of its own, PortalConnDiscovery
// to PortalConnRequest.
class CPortalConn : public INetConn {
  public:
    CPortalConn();
    // `host` is not owned and outlives the object.
    explicit CPortalConn(IPortalHost& host);
    virtual ~CPortalConn();

    // Fills the record from the settings and prepares the parser. 1, or 0 when the parser does not start.
    int Init();
    int InitPortalConf();
    void InitEnviromment();

    // Chooses the User-Agent by the address family of the active adapter.
    void SetServerIp();
    // Whether an earlier login is recorded as standing: the settings' "connState" as a number. The service
    // saves that empty, so it is 1 only where somebody wrote it into the file, until the next save.
    int GetConnCfg();
    void SetConnCfg(int connected);
    void ResetNetConfig();
    // Publishes one value to front ends, as PublishValue does.
    void SendData(const char* key, const char* value) { PublishValue(m_host, key, value); }

    // Looks for the portal. 1 a configuration document was found, 0 the probing ended on a page without one,
    // else the failure code of the HTTP exchange.
    int CheckNetEnv();
    // CheckNetEnv, and reads and publishes the configuration. 1 done, 0 no portal, -1 failure; `report` tells
    // whether an unreadable configuration or a failed probe is reported here.
    int RequestConfig(int report);

    // Moves `url` to another server of the cluster. 1, or 0 when no server is left.
    int GetNewServerIP(CAutoString& url);
    // Whether the portal may go on after a server error: 1 when the settings' disaster marker is in `marker`.
    // No exchange ends with a server error, so the marker has no effect: PortalConnFailover.cpp tells why.
    int DisasterRecovery(CAutoString marker);

    // The engine that every portal request passes. `retries` attempts are made while the connection fails.
    // Results as in PortalResult; `code` holds the failure code or the portal's "Error-Code", `subCode` its
    // "Sub-Error". Results -2, -8 and -9 have been reported.
    int RequestPortalServer(QuorvaneSvr::TaskItem item, CHttpData* data, unsigned long& code,
                            CAutoString& subCode, int retries);
    int GetErrorCode(CHttpData& data, CAutoString& subCode);
    CAutoString GetRequestHead(const char* body);
    CAutoString GetMD5FromPostData(const char* body);
    int UpdateAlgoid(CHttpData* data);
    // 1 when something between us and the portal answered in its place.
    int IsRequestRedirect(CHttpData* data);

    int _RequestTicket();
    // Gets a ticket and publishes it. Results as in PortalResult and TicketResult.
    int RequestTicket();
    // Logs in with account and password of the envelope `param`. 1, 2, -1 or -8.
    int Connect(const char* param) override;
    // Brings the account name into the form that the portal's configuration asks for.
    void AccountTran();
    void SaveAuthResponse(CAutoString& userName, int& keepRetry, CAutoString& keepUrl, CAutoString& termUrl,
                          CAutoString& againstList, const CAutoString& dns);
    // Pushes the DNS servers of the "domain-config" element `xml`. -1 when it names none, else as
    // CPushedServers::Push.
    int SetDNS(CAutoString& xml);
    // Logs out. 1, 2, -1, -8, or 0 when the network is no portal network any more.
    int DisConnect(const char* reason) override;
    // Logs out what is recorded as standing (GetConnCfg).
    void Destroy();

    // Data of the user's other terminals, from "<response>" on. 1 / 0.
    int TerminalRequestData(CAutoString& out);
    // Logs another terminal out by its ticket. The request engine's result.
    int TerminalTermRequest(CAutoString ticket);

    // 1 accepted, 0 failed but tolerated, 2 repeat, -1 failed, -14 the portal ended the login.
    int KeepPluse();
    // 1 logged in, 0 no decision, 2 repeat, -1 failed, -14 the login is gone. `type` is not used.
    int CheckConnectState(int type);

    void ExitPrepare() override;

    // Takes the new state, and posts it when it is one of those in the switch of PortalConnReport.cpp. While
    // connected or ready to connect, steps of a new attempt are ignored: they must not pull a standing
    // connection back.
    void NetStateChange(ESTATE oldState, ESTATE newState, int code, CAutoString subCode);
    void PostNetStateMessage(ESTATE oldState, ESTATE newState, int code, CAutoString subCode);
    // The extended report with a type and an extra text; does not change the state.
    void PostNetStateMessageEx(ESTATE oldState, ESTATE newState, int code, const char* type,
                               const char* extra);
    // Posts the last report again for a front end that has just attached.
    void PostLastNetStateMessage() { m_lastReport.Repeat(m_host); }
    // Takes `state` and reports a failed exchange; `flag` is not used.
    void PostError(ESTATE state, unsigned long code, unsigned long subCode, int flag);

    ESTATE GetNetState() const { return ReadRelaxed(m_eState); }
    // The record, as the owner of the engine reads it; there is one from Init on.
    const CAuthConfig& GetRecord() const { return *m_pPortalConf; }
    // What the owner finds out for it: the addresses of the active adapter, their family, and whether the
    // connection is shared (1 or 0).
    void NoteAddresses(const CAutoString& ip4, const CAutoString& ip6, const CAutoString& mac);
    void NoteAddressFamily(int family) { m_pPortalConf->m_afType = family; }
    void NoteSharing(int isShared) { m_pPortalConf->checkResult = isShared; }
    // Loads the recorded server lists into balances that ran empty.
    void ReloadServerLists() { m_cluster.Reload(); }

    // Not used by the service.
    // The record to change it; null before Init. Owned by this object.
    CAuthConfig* GetPortalConf() { return m_pPortalConf; }
    // Whether DisasterRecovery has ever applied in this process. Any thread may ask.
    static bool IsRecoveryOpened();
    // For owners of another kind: whether there is a physical connection (always 1), a ticket as
    // _RequestTicket gets it, a state check by type (always 0), and a look for sharing (which the portal
    // business does itself, so nothing happens here).
    int IsPhisycalConnect() override;
    int CheckIP() override;
    int CheckConnectStateForType(CAutoString type, int state);
    void CheckWifiShare();
    // Returns when the process has used more than 5 seconds of processor time since the last log-out; an idle
    // process therefore waits longer by the clock on the wall.
    void WaitForRestartConnect();

  private:
    void EnterState(ESTATE state);

    // Server errors: none comes so far (PortalConnFailover.cpp).
    int JudgeServerError(const char* url, int status);
    bool IsServerUsable();

    // Discovery.
    int FollowRedirects(CAutoString& page);
    bool GoOnAfterFailedProbe(int failure, int report);
    void StoreConfig();
    void StoreServerList();

    // Requests.
    void Post(QuorvaneSvr::TaskItem item, const CAutoString& url, const CAutoString& body, uint64_t timeOut,
              Exchange& exchange);
    int JudgeInterception(QuorvaneSvr::TaskItem item, const char* url);
    int JudgeErrorCode(int error, const CAutoString& subCode);
    int ReplaceAlgorithm(QuorvaneSvr::TaskItem item, CHttpData* data, int& failures);

    // Login and log-out.
    bool HasTicketUrl();
    int AskAddresses(CAutoString& ip4, CAutoString& ip6, CAutoString& mac);
    bool TakeAddresses();
    int TakeTicket(const CHttpData& answer);
    int JudgeTicketFailure(const Exchange& exchange);
    int TakeLogin(const CHttpData& answer);
    bool ReadLogin(const CHttpData& answer, CAutoString dns);
    int JudgeLoginFailure(const Exchange& exchange);
    void ReportPortalError(ESTATE oldState, ESTATE newState, const Exchange& exchange);
    void ReportAccountRefused(const Exchange& exchange);
    int FinishLogout();
    void ForgetServers();
    int JudgeLogoutFailure(const Exchange& exchange);

    // Keep-alive and state check.
    CAutoString MakePulseBody();
    int TakePulse(const CHttpData& answer);
    int JudgePulseFailure(const Exchange& exchange);
    void GiveBackServersElsewhere();
    int TakeState(const CHttpData& answer);
    int JudgeStateError(unsigned long code);

    IPortalHost& m_host;
    CPortalParser m_portalParse;
    RWLock m_stateLock;         // one state check at a time; not the lock of m_eState, which has none
    RWLock m_requestTicketTry;  // one ticket request at a time
    CAutoString m_redirectUrl;
    CAutoString m_redirectUrlIpv6;
    CAutoString m_configXML;
    CPushedServers m_pushedServers;
    int m_keepRetry = 0;     // failed pulses still tolerated; below 0 all of them are
    int m_replacements = 0;  // of the algorithm module, in a row
    CAutoString m_DisasterUrl;
    int m_nServerState = 1;     // 0 after a server error
    ESTATE m_eState = ES_NONE;  // the message thread reads it without a lock (RelaxedAccess.h)
    CLastReport m_lastReport;
    CServerCluster m_cluster;
    CAuthConfig* m_pPortalConf = nullptr;

    // Not used by the service.
    // Further parts of a connection's state, for extensions of this class: the first five are written, and
    // read by WaitForRestartConnect at most.
    int m_ConnnectType = 0;
    BOOL m_bSetAuthConf = 0;  // a configuration has been read
    CAutoString m_lastRedirectUrl;
    UINT m_nConnectStartTime = 0;  // this and m_lastOffline: seconds of processor time of the process
    UINT m_lastOffline = 0;
    CAutoString m_strAgainstPassword;  // of the sharing check
    UINT m_nCurrentTime = 0;           // seconds
    BOOL m_m_bPortalEnv = 0;           // a portal was seen
    int m_errCode = 0;                 // the last error
    CPortalParser m_RNParse;           // for a second kind of documents
};

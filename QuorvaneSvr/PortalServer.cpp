// The portal business towards its clients: its life, their operations, and the reports that they receive.
#include "PortalServer.h"

#include "ClientOperations.h"
#include "ElementText.h"
#include "Log.h"
#include "PortalConn.h"

namespace {

constexpr char kSignature[] = "NetModule";

constexpr unsigned kEndPollMs = 10;

constexpr char kStateReportBody[] =
    "<type>%d</type><oldState>%d</oldState><newState>%d</newState><ErrorCode>%d</ErrorCode>"
    "<subErrCode>%s</subErrCode><subType></subType><extern></extern>";
constexpr char kExtendedReportBody[] =
    "<type>%d</type><oldState>%d</oldState><newState>%d</newState><ErrorCode>%d</ErrorCode>"
    "<subErrCode></subErrCode><subType>%s</subType><extern>%s</extern>";

// States of a login that is under way, stands or has ended: a front end that attaches in one of them is told
// the state. In any other the network is checked first.
constexpr INetConn::ESTATE kLoginStates[] = {
    INetConn::ES_CONNECTING,    INetConn::ES_CONNECTED,    INetConn::ES_CONNECTFAIL,
    INetConn::ES_DISCONNECTING, INetConn::ES_DISCONNECTED, INetConn::ES_DISCONNECTFAIL,
};

bool IsLoginState(INetConn::ESTATE state) {
    for (const INetConn::ESTATE loginState : kLoginStates) {
        if (state == loginState) {
            return true;
        }
    }
    return false;
}

void WaitEnd(CSimpleThread& thread) {
    while (!thread.Stop(0, false)) {
        Sleep(kEndPollMs);
    }
}

}  // namespace

CPortalServer* CPortalServer::m_pPortalServer = nullptr;

IPortalHost& DefaultPortalHost() {
    return *CPortalServer::GetInst();
}

CPortalServer* CPortalServer::GetInst() {
    if (m_pPortalServer == nullptr) {
        m_pPortalServer = new CPortalServer;
    }
    return m_pPortalServer;
}

CPortalServer::CPortalServer() = default;

// The timer's thread, the work thread and the re-check thread end before the members that they use.
CPortalServer::~CPortalServer() {
    WaitDispatchEnd();
    WaitEnd(m_threadWork);
    WaitEnd(m_threadUnknowCheck);
    delete m_pPortalConn;
}

void CPortalServer::InitService(IServer* server) {
    CBusiness::InitService(server);
    server->RegisterBusiness(kPortalBusiness, this);
}

void CPortalServer::InitOpcodeFun() {
    struct Operation {
        const char* opcode;
        void (CPortalServer::*handler)(const char* source, CXMLOpt& document);
    };
    static const Operation kOperations[] = {
        {ClientOperation::kStart, &CPortalServer::Start},
        {ClientOperation::kCheckEnvironment, &CPortalServer::CheckEnv},
        {ClientOperation::kConnect, &CPortalServer::Connect},
        {ClientOperation::kDisconnect, &CPortalServer::DisConnect},
        {ClientOperation::kTerminalData, &CPortalServer::TerminalRequest},
        {ClientOperation::kTerminalTerm, &CPortalServer::TerminalTermRequest},
    };
    for (const Operation& operation : kOperations) {
        m_OpcodeMap[operation.opcode] = static_cast<OpcodeFun>(operation.handler);
    }
}

void CPortalServer::Start(const char* /*source*/, CXMLOpt& /*document*/) {
    if (m_pPortalConn != nullptr) {
        TellState();
        return;
    }
    // Whole before another thread sees it.
    auto engine = std::make_unique<CPortalConn>(*this);
    (void)engine->Init();  // a module loader that does not start leaves the fallback text
    m_pPortalConn = engine.release();
    (void)DispatchTask(true);  // a timer that still runs goes on
    Work(1);
    PostMsg(kPortalBusiness, ClientReport::kStartComplete, "");
}

// Another front end has attached, or the same one again: bring it up to date.
void CPortalServer::TellState() {
    m_pPortalConn->ReloadServerLists();
    m_pInfoCenter->SynchroGlobalValue();
    if (!IsLoginState(m_pPortalConn->GetNetState())) {
        CheckNetStatus(0);
        return;
    }
    PostNetStateMessage(INetConn::ET_PORTAL, INetConn::ES_NONE, INetConn::ES_PRECONNECTED, 0, "");
    m_pPortalConn->PostLastNetStateMessage();
}

void CPortalServer::CheckEnv(const char* /*source*/, CXMLOpt& /*document*/) {
    CheckNetStatus(0);
}

void CPortalServer::CheckNetStatus(int delay) {
    ArmTaskIn(delay, QuorvaneSvr::checkNet, IfArmed::kReplace);
}

void CPortalServer::Connect(const char* /*source*/, CXMLOpt& document) {
    QueueTask(QuorvaneSvr::auth, QuorvaneSvr::high, document.GetDoc(nullptr));
}

void CPortalServer::DisConnect(const char* /*source*/, CXMLOpt& document) {
    DisConnect(document.GetValue(kReasonPath));
}

void CPortalServer::TerminalRequest(const char* /*source*/, CXMLOpt& document) {
    StopTask(QuorvaneSvr::terminal);
    QueueTask(QuorvaneSvr::terminal, QuorvaneSvr::high, document.GetDoc(nullptr));
}

void CPortalServer::TerminalTermRequest(const char* /*source*/, CXMLOpt& document) {
    m_otherTicket.Set(document.GetValue(kTicketPath));
    QueueTask(QuorvaneSvr::terminalTerm, QuorvaneSvr::high, document.GetDoc(nullptr));
}

void CPortalServer::PostMsg(const char* target, const char* opcode, const char* param) {
    CBusiness::PostMsg(kSignature, target, opcode, param);
}

void CPortalServer::PostNetStateMessage(INetConn::ETYPE type, INetConn::ESTATE oldState,
                                        INetConn::ESTATE newState, int errorCode, CAutoString subErrCode) {
    CAutoString body;
    body.Format(kStateReportBody, type, oldState, newState, errorCode, ElementText(subErrCode).GetBuffer());
    PostMsg(kPortalBusiness, ClientReport::kNetState, body);
}

void CPortalServer::PostNetStateMessageEx(INetConn::ETYPE type, INetConn::ESTATE oldState,
                                          INetConn::ESTATE newState, int errorCode, const char* subType,
                                          const char* extra) {
    CAutoString body;
    body.Format(kExtendedReportBody, type, oldState, newState, errorCode, ElementText(subType).GetBuffer(),
                ElementText(extra).GetBuffer());
    PostMsg(kPortalBusiness, ClientReport::kNetState, body);
}

void CPortalServer::ServerStatus(int /*code*/) {
    CLog::GetInst()->WriteLog(INFO, "CPortalServer::ServerStatus");
    if (m_pPortalConn == nullptr) {
        return;
    }
    ClearTask();
    CPushedServers::GiveBackRecorded();  // a work thread that does not end ends the process
    Work(0);
    WaitEnd(m_threadUnknowCheck);
    m_pPortalConn->ExitPrepare();
    m_pPortalConn->Destroy();
    delete m_pPortalConn;
    m_pPortalConn = nullptr;
    m_statisticsSettings.Forget();
}

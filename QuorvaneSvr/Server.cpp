#include "Server.h"

#include "Business.h"
#include "ClientCommand.h"
#include "ClientOperations.h"
#include "InfoCenter.h"
#include "Log.h"
#include "XMLOpt.h"

namespace {

constexpr int kLinkWorks = 1;  // result of a receive loop that may be entered again

}  // namespace

int CServer::CreateServer(const char* name) {
    return m_pipeSvr.CreateNamedPipeInServer(name, this);
}

int CServer::ConnectToServer(const char* name) {
    return m_pipeSvr.OpenNamePipeServer(name);
}

int CServer::DoWork() {
    CLog::GetInst()->WriteLog(INFO, "DoWork");
    int result = kLinkWorks;
    while (result == kLinkWorks) {
        result = m_pipeSvr.LoopMsg();
        ServerStatus(result);
    }
    return 0;
}

void CServer::DoWorkOnPipe(CAutoString text) {
    CXMLOpt document(text);
    if (!document.IsWellFormed()) {
        return;
    }
    const CAutoString target = document.GetValue(kTargetPath);
    if (document.GetValue(kOpcodePath) != ClientOperation::kConnect) {
        CLog::GetInst()->WriteLog(INFO, "%s", text.GetBuffer());
    }
    const auto business = m_BusinessMap.find(target);
    if (business != m_BusinessMap.end()) {
        business->second->DealMsg(text);
    }
}

void CServer::RegisterBusiness(const char* name, IBusiness* business) {
    m_BusinessMap[name] = business;
}

void CServer::PostMessage(const char* text) {
    (void)m_pipeSvr.WritePipe(text);  // without a front end there is nobody to tell
    // Until the console client runs nobody would take the copies, and the service runs for months.
    if (CClientCommand::IsStarted()) {
        CClientCommand::GetInst()->AddMessage(text);
    }
}

CInfoCenter* CServer::GetInfoCenter() {
    return CInfoCenter::GetInst();
}

void CServer::ServerStatus(int code) {
    CLog::GetInst()->WriteLog(INFO, "client disconnect %d", code);
    for (const auto& business : m_BusinessMap) {
        business.second->ServerStatus(code);
    }
}

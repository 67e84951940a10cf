#include "ClientCommand.h"

#include <cstdio>
#include <cstdlib>

#include "ClientOperations.h"
#include "ConsoleText.h"
#include "PortalServer.h"
#include "PushedServers.h"

namespace {

constexpr char kClientName[] = "client";  // signs what the console client asks for

// Once in the life of the process; later reports of the same state are repetitions.
bool loginSent = false;
bool promptShown = false;

// Other threads of the service still run. exit() would destroy what they use, libraries included, under their
// hands, so the process ends without it; only the output has to be written.
[[noreturn]] void EndProcess() {
    CPushedServers::GiveBackForGood();
    (void)fflush(stdout);  // nothing could be done about a terminal that is gone
    std::_Exit(EXIT_SUCCESS);
}

CAutoString WithoutTags(CAutoString text) {
    (void)text.Replace("<", "&lt;");  // the count does not matter
    return text;
}

}  // namespace

struct CClientCommand::Reaction {
    INetConn::ESTATE state;
    void (CClientCommand::*react)(CXMLOpt& document);
};

const CClientCommand::Reaction CClientCommand::kReactions[] = {
    {INetConn::ES_PRECONNECTED, &CClientCommand::DealPreConnectedMsg},
    {INetConn::ES_PRECONNECTFAIL, &CClientCommand::DealPreConnectFailMsg},
    {INetConn::ES_CONNECTED, &CClientCommand::DealConnectedMsg},
    {INetConn::ES_CONNECTFAIL, &CClientCommand::DealConnectFailMsg},
    {INetConn::ES_DISCONNECTED, &CClientCommand::DealDisconnectedMsg},
};

CClientCommand* CClientCommand::m_pClientCommand = nullptr;
std::atomic<bool> CClientCommand::m_bStarted = false;

CClientCommand* CClientCommand::GetInst() {
    if (m_pClientCommand == nullptr) {
        m_pClientCommand = new CClientCommand;
    }
    return m_pClientCommand;
}

void CClientCommand::SetUserInfo(CAutoString account, CAutoString password) {
    m_strAccount = account;
    m_strPassword = password;
}

void CClientCommand::Start() {
    StartMsgEngine();
    m_bStarted = true;  // before the business starts: its first message is the answer to that
    CXMLOpt document;
    CPortalServer::GetInst()->Start(kClientName, document);
}

void CClientCommand::DoMessage(CAutoString text) {
    CXMLOpt document(text);
    DefaultDeal(document);
}

void CClientCommand::DefaultDeal(CXMLOpt& document) {
    const CAutoString opcode = document.GetValue(kOpcodePath);
    if (opcode == ClientReport::kNetState) {
        DealNetStateMessage(document);
    } else if (opcode == ClientReport::kStartComplete) {
        StartComplete(document);
    }
}

void CClientCommand::StartComplete(CXMLOpt& /*document*/) {
    CPortalServer::GetInst()->CheckNetStatus(0);
}

void CClientCommand::DealNetStateMessage(CXMLOpt& document) {
    const int newState = document.GetIntValue(kNewStatePath);
    for (const Reaction& reaction : kReactions) {
        if (reaction.state == newState) {
            (this->*reaction.react)(document);
        }
    }
}

// A "<" in the account or the password would end the document early. An "&" goes in as it stands, so that
// what was typed as a reference means the character. Held by Login.ConsoleClientLogsInAndEndsWithTheLogin.
void CClientCommand::DealPreConnectedMsg(CXMLOpt& /*document*/) {
    if (loginSent) {
        return;
    }
    loginSent = true;
    CAutoString credentials;
    credentials.Format(kLoginFormat, WithoutTags(m_strAccount).GetBuffer(),
                       WithoutTags(m_strPassword).GetBuffer());
    CAutoString envelope;
    envelope.Format(kEnvelopeFormat, kClientName, kPortalBusiness, ClientOperation::kConnect,
                    credentials.GetBuffer());
    CXMLOpt login(envelope);
    CPortalServer::GetInst()->Connect(kClientName, login);
}

void CClientCommand::DealPreConnectFailMsg(CXMLOpt& document) {
    printf("Init environment fail,Please restart the program,the error is %d, subcode is %s\n",
           document.GetIntValue(kErrorCodePath),
           ConsoleText(document.GetValue(kSubErrorCodePath)).GetBuffer());
    EndProcess();
}

// Nothing is read: the user goes offline by ending the process.
void CClientCommand::DealConnectedMsg(CXMLOpt& /*document*/) {
    if (promptShown) {
        return;
    }
    promptShown = true;
    printf("If you want go to offline, Please enter [y]:\n");
    (void)fflush(stdout);  // as above
    (void)fflush(stdin);   // no effect unless somebody reads standard input
}

void CClientCommand::DealConnectFailMsg(CXMLOpt& document) {
    printf("login fail, the error is %d, subcode is %s\n", document.GetIntValue(kErrorCodePath),
           ConsoleText(document.GetValue(kSubErrorCodePath)).GetBuffer());
    EndProcess();
}

void CClientCommand::DealDisconnectedMsg(CXMLOpt& /*document*/) {
    EndProcess();
}

void CClientCommand::GetUserInfo(CAutoString& account, CAutoString& password) {
    account = m_strAccount;
    password = m_strPassword;
}

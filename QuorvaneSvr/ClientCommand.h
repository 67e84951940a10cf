#pragma once

#include <atomic>

#include "AutoString.h"
#include "Business.h"
#include "MsgEngine.h"

// The front end that is built in: logs in with the credentials of the command line, prints the outcome and
// ends the process when the login fails or is over. Sees a copy of every envelope that the service sends,
// whomever it is for, and calls the portal business directly, so that the password is in no message and no
// log.
//
// Start-up creates it, sets the credentials and starts it; what follows happens on its own message thread.
class CClientCommand : public CBusiness, public CMsgEngine {
  public:
    // Created on first use, by the main thread; never destroyed.
    static CClientCommand* GetInst();
    // Whether Start has been called, so that messages are wanted. May be asked from any thread.
    static bool IsStarted() { return m_bStarted; }

    void SetUserInfo(CAutoString account, CAutoString password);
    // Starts the message thread and, on the calling one, the portal business. Returns at once.
    void Start();

    void DoMessage(CAutoString text) override;
    void DefaultDeal(CXMLOpt& document) override;
    void StartComplete(CXMLOpt& document);
    void DealNetStateMessage(CXMLOpt& document);
    // Reactions to a state. Those to a failure and to the end of the login end the process with status 0.
    void DealPreConnectedMsg(CXMLOpt& document);
    void DealPreConnectFailMsg(CXMLOpt& document);
    void DealConnectedMsg(CXMLOpt& document);
    void DealConnectFailMsg(CXMLOpt& document);
    void DealDisconnectedMsg(CXMLOpt& document);

    // Not used by the service.
    void GetUserInfo(CAutoString& account, CAutoString& password);

  private:
    struct Reaction;
    static const Reaction kReactions[];

    static CClientCommand* m_pClientCommand;
    static std::atomic<bool> m_bStarted;

    CAutoString m_strAccount;
    CAutoString m_strPassword;
};

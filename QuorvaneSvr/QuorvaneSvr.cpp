// Start-up of the service, in the order in which the parts need each other.

#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "ClientCommand.h"
#include "ClientOperations.h"
#include "InfoCenter.h"
#include "Log.h"
#include "PortalServer.h"
#include "Server.h"
#include "UserInfo.h"

namespace {

constexpr char kProcessIdKey[] = "PID";
constexpr char kOutgoingPipe[] = "serverpipe";
constexpr char kIncomingPipe[] = "clientpipe";
constexpr int kAlreadyRunning = -1;  // the shell sees 255
constexpr int kAllLevels = DEBUG;

// One service for each working directory. The process id is never removed: what counts is whether a process
// of that id can be signalled. One of another user, to which kill() answers no, does not stop a start; a
// foreign process that has got the id of an earlier run does. The stored text ends in a newline.
bool StartSingle() {
    CInfoCenter* settings = CInfoCenter::GetInst();
    const CAutoString previous = settings->GetLocalValue(kProcessIdKey);
    if (!previous.IsEmpty() && kill(atoi(previous), 0) != -1) {
        return false;
    }
    CAutoString own;
    own.Format("%d\n", getpid());
    (void)settings->SetLocalValue(kProcessIdKey,
                                  own);  // without settings there is no single instance to keep
    return true;
}

// One file for each start, named after its day.
void InitLog() {
    char folder[PATH_MAX];
    (void)CSimpleFile::GetModulePath(folder, sizeof(folder));  // always 1
    // A service that cannot log still logs in.
    (void)CLog::GetInst()->Create(CAutoString(folder) + "/Log/", "Info.log", "%Y%m%d");
    CLog::GetInst()->SetLevel(kAllLevels);
}

void InitPortal(IServer& server) {
    CInfoCenter* settings = CInfoCenter::GetInst();
    CPortalServer::GetInst()->InitService(&server);
    CPortalServer::GetInst()->SetInfoCenter(settings);
}

void StartConsoleClient(const char* account, const char* password) {
    CClientCommand::GetInst()->SetUserInfo(account, password);
    CClientCommand::GetInst()->Start();
}

// Waits for a front end, also beside a console client, and serves it until the link fails.
void ServePipe(CServer& server) {
    (void)server.CreateServer(kOutgoingPipe);  // one that exists already is used
    const int result = server.ConnectToServer(kIncomingPipe);
    if (result != 0) {
        printf("\nopen server pipe ret = %d\n", result);
        return;
    }
    (void)server.DoWork();  // always 0
}

// The console client and the portal business may still post through the server, so it is not destroyed; the
// end of the process closes what it has open.
[[noreturn]] void EndBesideThreads() {
    (void)unlink(kOutgoingPipe);  // as the server does at its end; it may be gone
    (void)fflush(stdout);
    std::_Exit(EXIT_SUCCESS);
}

}  // namespace

int main(int argc, char** argv) {
    if (!StartSingle()) {
        return kAlreadyRunning;
    }
    InitLog();
    CInfoCenter::GetInst()->CompleteStart();
    CServer server;
    InitPortal(server);
    CUserInfo userInfo;
    (void)userInfo.Init();
    if (argc > 2) {
        StartConsoleClient(argv[1], argv[2]);
    }
    server.RegisterBusiness(kPortalBusiness, CPortalServer::GetInst());
    ServePipe(server);
    if (CClientCommand::IsStarted()) {
        EndBesideThreads();
    }
    return 0;
}

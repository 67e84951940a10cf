#include "QuorvaneSvr.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ClientCommand.h"
#include "ClientOperations.h"
#include "InfoCenter.h"
#include "Log.h"
#include "MsgEngine.h"
#include "PortalServer.h"
#include "Server.h"
#include "SettingsKeys.h"

namespace {

constexpr char kOutgoingPipe[] = "serverpipe";
constexpr char kIncomingPipe[] = "clientpipe";
constexpr int kAllLevels = DEBUG;

constexpr char kVersion[] = "QuorvaneSvr " QUORVANE_VERSION "\n";
constexpr char kUsage[] =
    "usage: QuorvaneSvr [ACCOUNT PASSWORD]\n"
    "\n"
    "Keeps this machine logged in to a campus network that is guarded by a web portal. Settings,\n"
    "log and the FIFOs to a front end are those of the current folder.\n"
    "\n"
    "  ACCOUNT PASSWORD  log in at once and show the outcome, without a front end\n"
    "  --help            show this text\n"
    "  --version         show the version\n";

struct Option {
    const char* name;
    const char* text;
};
constexpr Option kOptions[] = {{"--help", kUsage}, {"--version", kVersion}};

// What the start has saved took the place of a file that was forced to the disk, and a power cut in the next
// half minute could leave nothing of either. Done when the service is ready, for the disk takes its time.
void SettleSettings() {
    CInfoCenter::GetInst()->SyncLocalValue(WriteTo::kWhole);
}

// Registers the portal business and serves the link. 0, or what kept the link from being opened.
int OpenAndServe(CServer& server) {
    server.RegisterBusiness(kPortalBusiness, CPortalServer::GetInst());
    (void)server.CreateServer(kOutgoingPipe);  // one that exists already is used
    const int result = server.ConnectToServer(kIncomingPipe);
    if (result != 0) {
        return result;
    }
    SettleSettings();
    return server.DoWork();
}

}  // namespace

bool AnswersOption(int argc, char** argv) {
    for (const Option& option : kOptions) {
        if (argc == 2 && strcmp(argv[1], option.name) == 0) {
            (void)fputs(option.text, stdout);  // without a reader there is nobody to tell
            return true;
        }
    }
    return false;
}

void FillStandardStreams() {
    int opened = 0;
    do {
        opened = open("/dev/null", O_RDWR);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    if (opened > STDERR_FILENO) {
        (void)close(opened);
    }
}

bool HasWorkingFolder() {
    char folder[PATH_MAX];
    (void)CSimpleFile::GetModulePath(folder, sizeof(folder));  // always 1
    if (folder[0] == '/') {
        return true;
    }
    (void)fprintf(stderr, "QuorvaneSvr: no working folder: %s\n", strerror(errno));
    return false;
}

// The process id is never removed: what counts is whether a process of that id can be signalled. One of
// another user, which must not be signalled, does not stop a start; a foreign process that has got the id of
// an earlier run does. In a container each run may get the same id, and is not another instance of itself.
// The stored text ends in a newline.
bool StartSingle() {
    CInfoCenter* settings = CInfoCenter::GetInst();
    const CAutoString previous = settings->GetLocalValue(SettingsKey::kProcessId);
    if (!previous.IsEmpty() && atoi(previous) != getpid() && kill(atoi(previous), 0) != -1) {
        return false;
    }
    CAutoString own;
    own.Format("%d\n", getpid());
    // Without settings there is no single instance to keep.
    (void)settings->SetLocalValue(SettingsKey::kProcessId, own);
    return true;
}

void InitLog() {
    char folder[PATH_MAX];
    (void)CSimpleFile::GetModulePath(folder, sizeof(folder));  // always 1
    // A service that cannot log still logs in.
    (void)CLog::GetInst()->Create(CAutoString(folder) + "/Log/", "Info.log", "%Y%m%d");
    CLog::GetInst()->SetLevel(kAllLevels);
}

void ChooseMessageEngine() {
    CMsgEngine::SetWaiting(CInfoCenter::GetInst()->GetLocalValue(SettingsKey::kMessageEngine) ==
                           MessageEngine::kWaiting);
}

void InitPortal(IServer& server) {
    CInfoCenter* settings = CInfoCenter::GetInst();
    CPortalServer::GetInst()->InitService(&server);
    CPortalServer::GetInst()->SetInfoCenter(settings);
}

void StartConsoleClient(int argc, char** argv) {
    if (argc > 2) {
        CClientCommand::GetInst()->SetUserInfo(argv[1], argv[2]);
        CClientCommand::GetInst()->Start();
    }
}

void ServeFrontEnd(CServer& server) {
    const int result = OpenAndServe(server);
    if (result != 0) {
        printf("\nopen server pipe ret = %d\n", result);
    }
}

void EndBesideConsoleClient() {
    if (CClientCommand::IsStarted()) {
        CPipeService::RemoveFifo(kOutgoingPipe);  // as the server does at its end
        (void)fflush(stdout);
        std::_Exit(EXIT_SUCCESS);
    }
}

void* ServerPipe(void* server) {
    const int result = OpenAndServe(*static_cast<CServer*>(server));
    if (result != 0) {
        printf("\nopen server pipe failed ret = %d\n", result);
    }
    return nullptr;
}

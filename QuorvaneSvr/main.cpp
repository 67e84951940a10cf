// Entry point of the service: the steps of the start-up, in the order in which they need each other.

#include <cstdlib>

#include "EndSignals.h"
#include "InfoCenter.h"
#include "PushedServers.h"
#include "QuorvaneSvr.h"
#include "Server.h"
#include "UserInfo.h"

int main(int argc, char** argv) {
    if (AnswersOption(argc, argv)) {
        return EXIT_SUCCESS;
    }
    FillStandardStreams();
    if (!HasWorkingFolder()) {
        return EXIT_FAILURE;
    }
    if (!StartSingle()) {
        return kAlreadyRunning;
    }
    InitLog();
    CPushedServers::GiveBackRecorded();
    GiveBackAtEndSignals();
    CInfoCenter::GetInst()->CompleteStart();
    ChooseMessageEngine();
    CServer server;
    InitPortal(server);
    CUserInfo userInfo;
    (void)userInfo.Init();
    StartConsoleClient(argc, argv);
    ServeFrontEnd(server);
    CPushedServers::GiveBackForGood();
    EndBesideConsoleClient();
    return EXIT_SUCCESS;
}

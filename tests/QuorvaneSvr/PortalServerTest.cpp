// The work loop of the portal business, with the real threads against the portal simulator.
#include "PortalServer.h"

#include <gmock/gmock.h>

#include "Log.h"
#include "PortalFixture.h"
#include "WaitUntil.h"

using namespace portal_sim;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

// Takes the place of the link to the front ends.
struct Link : IServer {
    void RegisterBusiness(const char* /*name*/, IBusiness* /*business*/) override {}
    void PostMessage(const char* text) override { sent.emplace_back(text); }
    CInfoCenter* GetInfoCenter() override { return nullptr; }

    std::vector<std::string> sent;
};

// Before Start nothing runs: what is queued and armed till then is what the work thread and the timer find.
class PortalServer : public testing::Test {
  protected:
    PortalServer() {
        CLog::GetInst()->Create("", "log", "");
        CLog::GetInst()->SetLevel(DEBUG);
        service.SetInfoCenter(CInfoCenter::GetInst());
    }

    void Start() { service.Start("client", nothing); }
    std::string Log() { return portal.folder.Read("log"); }

    PortalFixture portal;
    CXMLOpt nothing;
    CPortalServer service;
};

}  // namespace

TEST_F(PortalServer, TerminalDataAskedForTwiceIsFetchedOnce) {
    const std::string fetching = " TerminalRequestData http start\n";
    service.TerminalRequest("client", nothing);
    service.TerminalRequest("client", nothing);
    service.TerminalTermRequest("client", nothing);
    Start();
    ASSERT_TRUE(WaitUntil([&] { return Log().find("TerminalTermRequest DisConnect") != std::string::npos; }));
    const std::string log = Log();
    EXPECT_THAT(log, HasSubstr(fetching));
    EXPECT_EQ(log.find(fetching), log.rfind(fetching));
}

TEST_F(PortalServer, WatchOverAnUnknownNetworkOutlivesEveryOtherTask) {
    service.CheckNetStatus(0);
    service.ChangeToUnknowEnv();
    service.TerminalRequest("client", nothing);
    service.StopAllTask();
    Start();
    EXPECT_TRUE(portal.sim.WaitForRequest(Endpoint::Page));
    EXPECT_THAT(Log(), HasSubstr(" checkUnknowNet\n"));
    EXPECT_THAT(Log(), Not(HasSubstr(" check net status start\n")));
    EXPECT_THAT(Log(), Not(HasSubstr("TerminalRequestData")));
}

TEST_F(PortalServer, ReportsAreWellFormedWhateverThePortalSays) {
    Link link;
    service.InitService(&link);
    service.PostNetStateMessage(INetConn::ET_PORTAL, INetConn::ES_NONE, INetConn::ES_NONE, 1, "<&amp;\x01>");
    service.PostNetStateMessageEx(INetConn::ET_PORTAL, INetConn::ES_NONE, INetConn::ES_NONE, 1, "a&b",
                                  "]]>\t\xCA\xFD");
    EXPECT_THAT(
        link.sent,
        ElementsAre(HasSubstr("<subErrCode>&lt;&amp;amp; ></subErrCode>"),
                    HasSubstr("<subType>a&amp;b</subType><extern>]]&gt;\t\xCA\xFD</extern></P></M>")));
}

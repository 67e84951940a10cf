#include "Server.h"

#include <gmock/gmock.h>

#include <string>

#include "Business.h"
#include "Log.h"
#include "TemporaryFolder.h"

using testing::HasSubstr;

namespace {

class Business : public IBusiness {
  public:
    void InitService(IServer* /*server*/) override {}
    void DealMsg(const char* text) override { m_received += text; }
    void ServerStatus(int /*code*/) override {}

    std::string m_received;
};

}  // namespace

TEST(Server, RoutesByTargetAndLogsAllButLogins) {
    const TemporaryFolder folder;
    CLog::GetInst()->Create("", "Info.log", "");
    CLog::GetInst()->SetLevel(DEBUG);
    CServer server;
    Business portal;
    Business other;
    server.RegisterBusiness("Portal", &portal);
    server.RegisterBusiness("Other", &other);
    const struct {
        const char* what;
        std::string envelope;
        bool arrives;
        bool isLogged;
    } rows[] = {
        {"known target", "<M><OpT>Portal</OpT><OpC>CheckEnv</OpC><P>1</P></M>", true, true},
        {"login", "<M><OpT>Portal</OpT><OpC>PortalConnect</OpC><P>2</P></M>", true, false},
        {"any root, formats", "<X><OpT>Portal</OpT><OpC>%s%n</OpC><P>3</P></X>", true, true},
        {"target in another case", "<M><OpT>portal</OpT><OpC>CheckEnv</OpC><P>4</P></M>", false, true},
        {"not well formed", "<M><OpT>Portal</OpT><OpC>CheckEnv</OpC><P>6</P>", false, false},
        {"empty", "", false, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        portal.m_received.clear();
        const std::string logged = folder.Read("Info.log");
        server.DoWorkOnPipe(row.envelope);
        EXPECT_EQ(row.arrives ? row.envelope : "", portal.m_received);
        EXPECT_EQ(row.isLogged, folder.Read("Info.log") != logged);
        if (row.isLogged) {
            EXPECT_THAT(folder.Read("Info.log"), HasSubstr(row.envelope + "\n"));
        }
    }
    EXPECT_EQ("", other.m_received);
    CLog::GetInst()->CloseFile();
}

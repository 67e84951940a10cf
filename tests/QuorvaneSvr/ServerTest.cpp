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

class ServerTest : public testing::Test {
  protected:
    ServerTest() {
        CLog::GetInst()->Create("", "Info.log", "");
        CLog::GetInst()->SetLevel(DEBUG);
        m_server.RegisterBusiness("Portal", &m_portal);
        m_server.RegisterBusiness("Other", &m_other);
    }
    ~ServerTest() override { CLog::GetInst()->CloseFile(); }

    TemporaryFolder m_folder;
    Business m_portal;
    Business m_other;
    CServer m_server;
};

}  // namespace

TEST_F(ServerTest, RoutesByTargetAndLogsAllButLogins) {
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
        m_portal.m_received.clear();
        const std::string logged = m_folder.Read("Info.log");
        m_server.DoWorkOnPipe(row.envelope);
        EXPECT_EQ(row.arrives ? row.envelope : "", m_portal.m_received);
        EXPECT_EQ(row.isLogged, m_folder.Read("Info.log") != logged);
        if (row.isLogged) {
            EXPECT_THAT(m_folder.Read("Info.log"), HasSubstr(row.envelope + "\n"));
        }
    }
    EXPECT_EQ("", m_other.m_received);
}

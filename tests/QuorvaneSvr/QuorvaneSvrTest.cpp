// Start-up and end of the real process.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ServiceProcess.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"
#include "comm.h"

using testing::AllOf;
using testing::HasSubstr;

namespace {

class QuorvaneSvrTest : public testing::Test {
  protected:
    void Settings(const std::string& processId) {
        m_folder.Write("conf/conf.xml", "<settings><PID>" + processId + "</PID></settings>");
    }

    TemporaryFolder m_folder;
};

}  // namespace

TEST_F(QuorvaneSvrTest, ALiveProcessIdEndsItBeforeAnythingElse) {
    Settings(std::to_string(getpid()) + "\n");
    const std::string settings = m_folder.Read("conf/conf.xml");
    ServiceProcess service;
    EXPECT_EQ(255, service.WaitForExit());
    EXPECT_EQ("", service.Output());
    EXPECT_FALSE(m_folder.Has("Log"));
    EXPECT_EQ(settings, m_folder.Read("conf/conf.xml"));
}

TEST_F(QuorvaneSvrTest, ServesAFrontEndUntilReadingFails) {
    Settings("");
    ASSERT_EQ(0, mkdir("clientpipe", 0700));  // can be opened, but not read
    ServiceProcess service({"one argument starts no console client"});
    int fromService = -1;
    ASSERT_TRUE(WaitUntil([&] { return (fromService = open("serverpipe", O_RDONLY | O_NONBLOCK)) >= 0; }));
    EXPECT_EQ(0, service.WaitForExit());
    close(fromService);
    EXPECT_EQ("", service.Output());
    EXPECT_THAT(m_folder.Read(("Log/" + CommFunc::GetLocalTime("%Y%m%d_Info.log")).GetText()),
                AllOf(HasSubstr(" client disconnect -1\n"), HasSubstr(" CPortalServer::ServerStatus\n")));
    EXPECT_FALSE(m_folder.Has("serverpipe"));
    EXPECT_THAT(m_folder.Read("conf/conf.xml"),
                HasSubstr("<PID>" + std::to_string(service.Pid()) + "\n</PID>"));
}

TEST_F(QuorvaneSvrTest, EndsWhenItsPipeCannotBeOpened) {
    ASSERT_EQ(0, mkdir("serverpipe", 0700));
    ServiceProcess service;
    EXPECT_EQ(0, service.WaitForExit());
    EXPECT_EQ("\nopen server pipe ret = -1\n", service.Output());
    EXPECT_FALSE(m_folder.Has("conf")) << "settings are shipped, not made";
}

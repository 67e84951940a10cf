// Start-up and end of the real process.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "ServiceProcess.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"
#include "comm.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class QuorvaneSvrTest : public testing::Test {
  protected:
    void Settings(const std::string& processId) {
        m_folder.Write("conf/conf.xml", "<settings><PID>" + processId + "</PID></settings>");
    }

    TemporaryFolder m_folder;
};

}  // namespace

TEST_F(QuorvaneSvrTest, EndsBeforeAnythingElse) {
    const std::tuple<std::string, std::vector<std::string>, int, const char*> rows[] = {
        {std::to_string(getpid()) + "\n", {}, 255, ""},
        {"", {"--version"}, 0, "QuorvaneSvr 1."},
        {"", {"--help"}, 0, "usage: QuorvaneSvr [ACCOUNT PASSWORD]\n"},
    };
    for (const auto& [processId, arguments, status, output] : rows) {
        SCOPED_TRACE(output);
        Settings(processId);
        const std::string settings = m_folder.Read("conf/conf.xml");
        ServiceProcess service(arguments);
        EXPECT_EQ(status, service.WaitForExit());
        EXPECT_THAT(service.Output(), StartsWith(output));
        EXPECT_EQ(service.Output().empty(), *output == '\0');
        EXPECT_FALSE(m_folder.Has("Log"));
        EXPECT_EQ(settings, m_folder.Read("conf/conf.xml"));
    }
    // Without a working folder everything would land below "/".
    const int status = system("mkdir gone; cd gone; rmdir ../gone; " QUORVANE_SERVICE " 2>../output-gone");
    EXPECT_EQ(1, WEXITSTATUS(status));
    EXPECT_THAT(m_folder.Read("output-gone"), StartsWith("QuorvaneSvr: no working folder: "));
}

TEST_F(QuorvaneSvrTest, ServesAFrontEndUntilReadingFails) {
    Settings("999999999\n");  // of a process that is gone
    m_folder.Write("clientpipe", "<M/>");
    ServiceProcess service({"one argument starts no console client"});
    int fromService = -1;
    ASSERT_TRUE(WaitUntil([&] { return (fromService = open("serverpipe", O_RDONLY | O_NONBLOCK)) >= 0; }));
    ASSERT_TRUE(WaitUntil([&] { return !service.Output().empty(); }));
    EXPECT_EQ("clientpipe is a plain file or a link, not a FIFO: move it away\n", service.Output());
    ASSERT_EQ(0, unlink("clientpipe"));
    ASSERT_EQ(0, mkdir("clientpipe", 0700));  // can be opened, but not read
    EXPECT_EQ(0, service.WaitForExit());
    close(fromService);
    EXPECT_THAT(m_folder.Read(("Log/" + CommFunc::GetLocalTime("%Y%m%d_Info.log")).GetText()),
                AllOf(HasSubstr(" client disconnect -1\n"), HasSubstr(" CPortalServer::ServerStatus\n")));
    EXPECT_FALSE(m_folder.Has("serverpipe"));
    EXPECT_THAT(m_folder.Read("conf/conf.xml"),
                HasSubstr("<PID>" + std::to_string(service.Pid()) + "\n</PID>"));
}

TEST_F(QuorvaneSvrTest, EndsWhenItsPipeCannotBeOpened) {
    const std::string refused = "serverpipe is a plain file or a link, not a FIFO: move it away\n";
    const std::pair<std::string, std::string> rows[] = {
        {"mkdir serverpipe", ""},
        {"echo text >serverpipe", refused},
        {"mkfifo fifo; ln -s fifo serverpipe", refused},
    };
    for (const auto& [preparation, reason] : rows) {
        SCOPED_TRACE(preparation);
        ASSERT_EQ(0, system(preparation.c_str()));
        ServiceProcess service;
        EXPECT_EQ(0, service.WaitForExit());
        EXPECT_EQ(reason + "\nopen server pipe ret = -1\n", service.Output());
        EXPECT_EQ(0, rename("serverpipe", preparation.c_str())) << "it is not the service's to remove";
    }
    EXPECT_FALSE(m_folder.Has("conf")) << "settings are shipped, not made";
}

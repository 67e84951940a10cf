// Start-up and end of the real process.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "ServiceProcess.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"
#include "comm.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

class QuorvaneSvrTest : public testing::Test {
  protected:
    void Settings(const std::string& processId) {
        m_folder.Write("conf/conf.xml", "<settings><PID>" + processId +
                                            "</PID><redirect>http://127.0.0.1:1/</redirect>"
                                            "<redirectipv6>http://127.0.0.1:1/</redirectipv6></settings>");
    }
    std::string Log() {
        return m_folder.Read(("Log/" + CommFunc::GetLocalTime("%Y%m%d_Info.log")).GetText());
    }

    TemporaryFolder m_folder;
};

// Id of a process that has just ended.
std::string DeadProcessId() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    return std::to_string(child);
}

size_t Threads(const ServiceProcess& service) {
    const fs::path tasks = "/proc/" + std::to_string(service.Pid()) + "/task";
    return static_cast<size_t>(std::distance(fs::directory_iterator(tasks), fs::directory_iterator()));
}

int OpenFromService() {
    int descriptor = -1;
    WaitUntil([&] { return (descriptor = open("serverpipe", O_RDONLY | O_NONBLOCK)) >= 0; });
    return descriptor;
}

}  // namespace

TEST_F(QuorvaneSvrTest, ALiveProcessIdEndsItBeforeAnythingElse) {
    const std::string own = std::to_string(getpid());
    Settings(own + "\n");
    const std::string settings = m_folder.Read("conf/conf.xml");
    ServiceProcess service;
    EXPECT_EQ(255, service.WaitForExit());
    EXPECT_EQ("", service.Output());
    EXPECT_FALSE(m_folder.Has("Log"));
    EXPECT_EQ(settings, m_folder.Read("conf/conf.xml"));
}

TEST_F(QuorvaneSvrTest, ServesAFrontEndUntilReadingFails) {
    Settings(DeadProcessId());
    ASSERT_EQ(0, mkdir("clientpipe", 0700));  // can be opened, but not read
    ServiceProcess service({"account alone"});
    ASSERT_TRUE(WaitUntil([&] { return m_folder.Has("serverpipe"); }));
    EXPECT_EQ(1u, Threads(service)) << "no console client with one argument";

    const int fromService = OpenFromService();
    EXPECT_EQ(0, service.WaitForExit());
    close(fromService);

    EXPECT_EQ("", service.Output());
    EXPECT_THAT(Log(), HasSubstr(" DoWork\n"));
    EXPECT_THAT(Log(), HasSubstr(" client disconnect -1\n"));
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

TEST_F(QuorvaneSvrTest, TwoArgumentsStartTheConsoleClientBesideThePipe) {
    Settings("");
    ServiceProcess service({"account", "password", "ignored"});
    ASSERT_TRUE(WaitUntil([&] { return m_folder.Has("serverpipe"); }));
    EXPECT_TRUE(WaitUntil([&] { return Threads(service) > 1; }));
}

#include "WiFiSharedValidate.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Sandbox.h"
#include "TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

constexpr char kIPv4Switch[] = "/proc/sys/net/ipv4/ip_forward";
constexpr char kForwardingName[] = "IP\xCA\xFD\xBE\xDD\xD7\xAA\xB7\xA2";
constexpr char kForwardingRule[] = "<shared><other/><ipforward> 1 </ipforward></shared>";

// A rule; `name` with its markup characters escaped.
std::string Process(const std::string& name, const std::string& displayName) {
    return "<process displayname=\"" + displayName + "\">" + name + "</process>";
}

std::string Document(const std::string& rules) {
    return "<?xml version=\"1.0\" encoding=\"GB18030\"?><user-config><interval>60</interval><against>" +
           rules + "</against></user-config>";
}

// A program that runs under the given name, in the working directory, while the object lives.
class RunningProgram {
  public:
    explicit RunningProgram(std::string name) {
        const std::string path = "./" + name;
        fs::copy_file("/bin/sleep", path);
        char seconds[] = "600";
        char* arguments[] = {&name[0], seconds, nullptr};
        EXPECT_EQ(posix_spawn(&m_pid, path.c_str(), nullptr, nullptr, arguments, environ), 0);
    }
    ~RunningProgram() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

  private:
    pid_t m_pid = 0;
};

class WiFiSharedValidate : public testing::Test {
  protected:
    // The display name of what a first check finds, empty for nothing.
    std::string Finds(const std::string& rules) {
        CWiFiSharedValidate fresh;
        const bool isSharing = fresh.IsValidEnvironment(Document(rules).c_str()) == 1;
        EXPECT_EQ(isSharing, *fresh.GetDisplayName() != '\0');
        return fresh.GetDisplayName();
    }

    TemporaryFolder folder;
    CWiFiSharedValidate sharing;
};

}  // namespace

TEST_F(WiFiSharedValidate, FindsARunningProgramByWhateverName) {
    for (const char* name :
         {"o'brien", "a\"$b", "-x", "*", "(q)", "semi;colon", "`date`", "name-of-more-than-fifteen"}) {
        const RunningProgram program(name);
        EXPECT_EQ(Finds(Process(name, "shown\xCF\xD6")), "shown\xCF\xD6") << name;
    }
    const RunningProgram markup("a<b&c");
    EXPECT_EQ(Finds(Process("a&lt;b&amp;c", "shown")), "shown");
}

TEST_F(WiFiSharedValidate, NameNeverRunsInTheShell) {
    for (const std::string& name :
         {std::string("$(touch injected)"), std::string("'; touch injected; '"),
          std::string("x\ntouch injected"), std::string(5000, 'x') + "'; touch injected"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(Finds(Process(name, "shown")), "");
        EXPECT_FALSE(folder.Has("injected"));
    }
}

TEST_F(WiFiSharedValidate, FirstRunningProgramInOrderOfNamesIsNamed) {
    const RunningProgram first("quorvane-a");
    const RunningProgram second("quorvane-b");
    EXPECT_EQ(Finds(Process("never-started", "0") + Process("quorvane-b", "b") +
                    Process("quorvane-a", "overwritten") + Process("quorvane-a", "a")),
              "a");
}

TEST_F(WiFiSharedValidate, UnreadableDocumentIsNoSharingAndTheFirstReadableOneStays) {
    const RunningProgram program("quorvane-a");
    const std::string rule = Process("quorvane-a", "a");
    const std::string good = Document(rule);
    EXPECT_EQ(sharing.IsValidEnvironment(nullptr), 0);
    for (const std::string& document :
         {std::string(), "<user-config>" + rule + "</user-config>",
          "<other><against>" + rule + "</against></other>", good.substr(0, good.find("<against>"))}) {
        EXPECT_EQ(sharing.IsValidEnvironment(document.c_str()), 0) << document;
    }
    EXPECT_EQ(sharing.IsValidEnvironment(good.c_str()), 1);
    EXPECT_EQ(sharing.IsValidEnvironment(Document(Process("never-started", "b")).c_str()), 1);
    EXPECT_STREQ(sharing.GetDisplayName(), "a");
}

TEST_F(WiFiSharedValidate, MachineWithoutPsCountsAsSharing) {
    fs::create_symlink("/usr/bin/wc", "wc");
    const std::string path = getenv("PATH");
    setenv("PATH", folder.Path().c_str(), 1);
    EXPECT_EQ(Finds(Process("never-started", "first") + Process("other", "second")), "first");
    setenv("PATH", path.c_str(), 1);
}

TEST_F(WiFiSharedValidate, ForwardingCountsWhenTheRulesAskForIt) {
    SKIP_OUTSIDE_SANDBOX();
    std::ofstream(kIPv4Switch) << "1";
    if (sharing.NetworkEnableIpForwarding() != 1) {
        GTEST_SKIP() << "the kernel's forwarding switch is read-only here";
    }
    const RunningProgram program("quorvane-a");
    EXPECT_EQ(Finds(Process("never-started", "0") + kForwardingRule), kForwardingName);
    EXPECT_EQ(Finds(Process("quorvane-a", "a") + kForwardingRule), "a");
    EXPECT_EQ(Finds("<shared><ipforward>0</ipforward></shared>"), "");
    EXPECT_EQ(Finds("<ipforward>1</ipforward>"), "");
    std::ofstream(kIPv4Switch) << "0";
    EXPECT_EQ(Finds(kForwardingRule), "");
}

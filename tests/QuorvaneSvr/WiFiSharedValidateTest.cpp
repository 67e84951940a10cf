#include "WiFiSharedValidate.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Sandbox.h"
#include "TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

constexpr char kIPv4Switch[] = "/proc/sys/net/ipv4/ip_forward";
constexpr char kForwardingName[] = "IP\xCA\xFD\xBE\xDD\xD7\xAA\xB7\xA2";
constexpr char kNotRunning[] = "never-started";

// `name` is written as it stands in a document: with its markup characters escaped.
std::string Process(const std::string& name, const std::string& displayName) {
    return "<process displayname=\"" + displayName + "\">" + name + "</process>";
}

std::string Document(const std::string& rules) {
    return "<?xml version=\"1.0\" encoding=\"GB18030\"?><user-config><interval>60</interval><against>" +
           rules + "</against></user-config>";
}

// A program that runs under the given name while the object lives.
class RunningProgram {
  public:
    explicit RunningProgram(const TemporaryFolder& folder, std::string name) {
        const fs::path path = fs::path(folder.Path()) / name;
        fs::copy_file("/bin/sleep", path);
        char seconds[] = "600";
        char* arguments[] = {&name[0], seconds, nullptr};
        if (posix_spawn(&m_pid, path.c_str(), nullptr, nullptr, arguments, environ) != 0) {
            m_pid = -1;
        }
    }
    ~RunningProgram() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

  private:
    pid_t m_pid = -1;
};

class WiFiSharedValidate : public testing::Test {
  protected:
    int Check(const std::string& rules) { return sharing.IsValidEnvironment(Document(rules).c_str()); }

    TemporaryFolder folder;
    CWiFiSharedValidate sharing;
};

}  // namespace

TEST_F(WiFiSharedValidate, FindsARunningProgramByWhateverName) {
    for (const char* name : {"o'brien", "a\"$b", "-x", "*", "(q)", "semi;colon", "`date`", "a<b&c",
                             "name-of-more-than-fifteen"}) {
        SCOPED_TRACE(name);
        const RunningProgram program(folder, name);
        const bool isMarkup = std::string("a<b&c") == name;
        CWiFiSharedValidate fresh;
        EXPECT_EQ(fresh.IsValidEnvironment(
                      Document(Process(isMarkup ? "a&lt;b&amp;c" : name, "shown\xCF\xD6")).c_str()),
                  1);
        EXPECT_STREQ(fresh.GetDisplayName(), "shown\xCF\xD6");
    }
}

TEST_F(WiFiSharedValidate, NameNeverRunsInTheShell) {
    for (const std::string& name :
         {std::string("$(touch injected)"), std::string("'; touch injected; '"),
          std::string("x\ntouch injected"), std::string(5000, 'x') + "'; touch injected"}) {
        SCOPED_TRACE(name);
        CWiFiSharedValidate fresh;
        EXPECT_EQ(fresh.IsValidEnvironment(Document(Process(name, "shown")).c_str()), 0);
        EXPECT_FALSE(folder.Has("injected"));
    }
}

TEST_F(WiFiSharedValidate, FirstRunningProgramInOrderOfNamesIsNamed) {
    const RunningProgram first(folder, "quorvane-a");
    const RunningProgram second(folder, "quorvane-b");
    EXPECT_EQ(Check(Process(kNotRunning, "0") + Process("quorvane-b", "b") +
                    Process("quorvane-a", "overwritten") + Process("quorvane-a", "a")),
              1);
    EXPECT_STREQ(sharing.GetDisplayName(), "a");
}

TEST_F(WiFiSharedValidate, UnreadableDocumentIsNoSharingAndTheFirstReadableOneStays) {
    const RunningProgram program(folder, "quorvane-a");
    const std::string good = Document(Process("quorvane-a", "a"));
    const std::string documents[] = {
        "",
        "<user-config>" + Process("quorvane-a", "a") + "</user-config>",
        "<other><against>" + Process("quorvane-a", "a") + "</against></other>",
        good.substr(0, good.find("<against>")),
    };
    EXPECT_EQ(sharing.IsValidEnvironment(nullptr), 0);
    for (const std::string& document : documents) {
        SCOPED_TRACE(document);
        EXPECT_EQ(sharing.IsValidEnvironment(document.c_str()), 0);
    }
    EXPECT_EQ(sharing.IsValidEnvironment(good.c_str()), 1);
    EXPECT_EQ(Check(Process(kNotRunning, "b")), 1);
    EXPECT_STREQ(sharing.GetDisplayName(), "a");
}

TEST_F(WiFiSharedValidate, MachineWithoutPsCountsAsSharing) {
    fs::create_symlink("/usr/bin/wc", "wc");
    const std::string path = getenv("PATH");
    setenv("PATH", folder.Path().c_str(), 1);
    EXPECT_EQ(Check(Process(kNotRunning, "first") + Process("other", "second")), 1);
    setenv("PATH", path.c_str(), 1);
    EXPECT_STREQ(sharing.GetDisplayName(), "first");
}

TEST_F(WiFiSharedValidate, ForwardingCountsWhenTheRulesAskForIt) {
    SKIP_OUTSIDE_SANDBOX();
    std::ofstream(kIPv4Switch) << "1";
    if (sharing.NetworkEnableIpForwarding() != 1) {
        GTEST_SKIP() << "the kernel's forwarding switch is read-only here";
    }
    const RunningProgram program(folder, "quorvane-a");
    const struct {
        const char* what;
        std::string rules;
        const char* found;
    } rows[] = {
        {"asked for", Process(kNotRunning, "0") + "<shared><other/><ipforward> 1 </ipforward></shared>",
         kForwardingName},
        {"a program comes first", Process("quorvane-a", "a") + "<shared><ipforward>1</ipforward></shared>",
         "a"},
        {"switched off", "<shared><ipforward>0</ipforward></shared>", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CWiFiSharedValidate fresh;
        EXPECT_EQ(fresh.IsValidEnvironment(Document(row.rules).c_str()), *row.found != '\0' ? 1 : 0);
        EXPECT_STREQ(fresh.GetDisplayName(), row.found);
    }
    std::ofstream(kIPv4Switch) << "0";
    EXPECT_EQ(Check("<shared><ipforward>1</ipforward></shared>"), 0);
}

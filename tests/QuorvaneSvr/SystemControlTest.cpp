#include "SystemControl.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Sandbox.h"
#include "SystemControlAdapter.h"
#include "SystemControlCentOS.h"
#include "WaitUntil.h"

namespace {

constexpr char kIPv4Switch[] = "/proc/sys/net/ipv4/ip_forward";
constexpr char kIPv6Switch[] = "/proc/sys/net/ipv6/conf/all/forwarding";

bool Shell(const std::string& command) {
    return system(command.c_str()) == 0;
}

bool Write(const std::string& path, const std::string& content) {
    std::ofstream file(path);
    file << content;
    return !file.flush().fail();
}

// Both forwarding switches of the sandbox, off again after each case.
class SystemControl : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_OUTSIDE_SANDBOX();
        if (!Write(kIPv4Switch, "0") || !Write(kIPv6Switch, "0")) {
            GTEST_SKIP() << "the kernel's forwarding switches are read-only here";
        }
    }
    void TearDown() override {
        if (InSandbox()) {
            Shell("umount /etc/os-release 2>/dev/null; umount /proc/sys/net/ipv4/ip_forward 2>/dev/null");
            Shell("ip route replace default via 192.0.2.1");
            Write(kIPv4Switch, "0");
            Write(kIPv6Switch, "0");
        }
    }
    // Lays a file with the given content over /etc/os-release.
    void ReleaseFileHolds(const std::string& content) {
        Shell("umount /etc/os-release 2>/dev/null");
        ASSERT_TRUE(Shell("file=$(mktemp) && printf '" + content +
                          "' >$file && mount --bind $file /etc/os-release && rm $file"));
    }

    CSystemControlAdapter adapter;
};

void Collect(const char* line, void* param) {
    static_cast<std::vector<std::string>*>(param)->emplace_back(line);
}

}  // namespace

TEST(ShellExecutor, HandsOverEachLineOfWhatRan) {
    const std::string longLine(2000, 'x');
    const struct {
        const char* what;
        const char* command;
        const char* mode;
        int result;
        std::vector<std::string> lines;
    } rows[] = {
        {"two lines", "printf 'one\\ntwo'", "r", 1, {"one\n", "two"}},
        {"failing command", "echo before; exit 3", "r", 1, {"before\n"}},
        {"no such command", "exec /nonexistent 2>/dev/null", "r", 1, {}},
        {"long line in pieces",
         "printf '%2000s' | tr ' ' x",
         "r",
         1,
         {longLine.substr(977), longLine.substr(1023)}},
        {"empty command", "", "r", 0, {}},
        {"null command", nullptr, "r", 0, {}},
        {"empty mode", "echo never", "", 0, {}},
        {"unknown mode", "echo never", "x", 0, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::vector<std::string> lines;
        CShellExecutor executor;
        executor.SetSystemControlLogger(Collect, &lines);
        EXPECT_EQ(executor.ExecuteShellScript(row.command, row.mode), row.result);
        EXPECT_EQ(lines, row.lines);
    }
    EXPECT_EQ(CShellExecutor().ExecuteShellScript("echo unheard", "r"), 1);
}

TEST_F(SystemControl, DistributionDecidesHowForwardingIsRead) {
    const struct {
        const char* what;
        const char* release;
        OPERATION_SYSTEM system;
        bool centOS;
    } rows[] = {
        {"Ubuntu by its id", "NAME=\"Ubuntu\"\\nID=ubuntu\\n", SYSTEM_UBUNTU, false},
        {"capital letter only", "NAME=\"Ubuntu\"\\n", kUnknownSystem, false},
        {"Fedora", "NAME=\"Fedora Linux\"\\nID=fedora\\n", SYSTEM_FEDORA, false},
        {"CentOS", "NAME=\"CentOS Stream\"\\nID=\"centos\"\\n", SYSTEM_CENT, true},
        {"last line counts", "NAME=\"CentOS\"\\nID_LIKE=\"Fedora\"\\nVERSION=9\\n", SYSTEM_FEDORA, false},
        {"last name of a line counts", "NAME=\"CentOS, like Fedora and ubuntu\"\\n", SYSTEM_CENT, true},
        {"none of them", "NAME=\"Debian GNU/Linux\"\\n", kUnknownSystem, false},
        {"empty", "", kUnknownSystem, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ASSERT_NO_FATAL_FAILURE(ReleaseFileHolds(row.release));
        CSystemControlAdapter distribution;
        EXPECT_EQ(distribution.GetSystem(), row.system);
        ISystemControl* control = distribution.GetSystemControl();
        EXPECT_EQ(dynamic_cast<CSystemControlCentOS*>(control) != nullptr, row.centOS);
        EXPECT_EQ(distribution.GetSystemControl(), control);
    }
}

TEST_F(SystemControl, ForwardingFollowsTheKernelSwitches) {
    const struct {
        const char* ipv4;
        const char* ipv6;
        bool generic;
        bool centOS;
    } rows[] = {
        {"0", "0", false, false}, {"1", "0", true, true},   {"0", "1", true, false},
        {"1", "1", true, true},   {"0", "0", false, false},
    };
    ISystemControl* generic = nullptr;
    ISystemControl* centOS = nullptr;
    new CSystemControl(&generic);
    new CSystemControlCentOS(&centOS);
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string("IPv4 ") + row.ipv4 + ", IPv6 " + row.ipv6);
        ASSERT_TRUE(Write(kIPv4Switch, row.ipv4));
        ASSERT_TRUE(Write(kIPv6Switch, row.ipv6));
        unsigned long sent = 0;
        unsigned long received = 0;
        EXPECT_EQ(centOS->NetworkTrafficStatistics(sent, received), 0);
        EXPECT_EQ(generic->NetworkEnableIpForwarding() != 0, row.generic);
        EXPECT_EQ(centOS->NetworkEnableIpForwarding() != 0, row.centOS);
    }
    generic->Release();
    centOS->Release();
}

TEST_F(SystemControl, SwitchThatCannotBeReadKeepsItsLastValue) {
    CSystemControlAdapter seenBefore;
    ASSERT_EQ(seenBefore.GetSystemControl()->NetworkEnableIpForwarding(), 0);
    ASSERT_TRUE(Shell("mount --bind /dev/null /proc/sys/net/ipv4/ip_forward"));
    testing::internal::CaptureStderr();
    EXPECT_EQ(seenBefore.GetSystemControl()->NetworkEnableIpForwarding(), 0);
    EXPECT_EQ(adapter.GetSystemControl()->NetworkEnableIpForwarding(), 1);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST_F(SystemControl, CountsTheBytesOfTheDefaultRoute) {
    ISystemControl* control = adapter.GetSystemControl();
    unsigned long sentBefore = 0;
    unsigned long receivedBefore = 0;
    ASSERT_EQ(control->NetworkTrafficStatistics(sentBefore, receivedBefore), 0);
    ASSERT_TRUE(SendToSandboxPeer(100 * 1000));
    unsigned long sent = 0;
    unsigned long received = 0;
    EXPECT_TRUE(WaitUntil([&] {
        return control->NetworkTrafficStatistics(sent, received) == 0 && sent >= sentBefore + 100 * 1000 &&
               received > receivedBefore;
    }));
    EXPECT_LT(received - receivedBefore, sent - sentBefore);

    ASSERT_TRUE(Shell("ip route del default"));
    ASSERT_TRUE(SendToSandboxPeer(1000));
    unsigned long sentWithoutRoute = 0;
    EXPECT_EQ(control->NetworkTrafficStatistics(sentWithoutRoute, received), 0);
    EXPECT_EQ(sentWithoutRoute, sent);
}

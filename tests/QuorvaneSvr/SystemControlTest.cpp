#include "SystemControl.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Sandbox.h"
#include "SystemControlAdapter.h"
#include "SystemControlCentOS.h"

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
            Write(kIPv4Switch, "0");
            Write(kIPv6Switch, "0");
        }
    }

    CSystemControlAdapter adapter;
};

void Collect(const char* line, void* param) {
    static_cast<std::vector<std::string>*>(param)->emplace_back(line);
}

}  // namespace

TEST(ShellExecutor, HandsOverEachLineOfWhatRan) {
    const struct {
        const char* command;
        std::vector<std::string> lines;
    } rows[] = {
        {"printf 'one\\ntwo'", {"one\n", "two"}},
        {"echo before; exit 3", {"before\n"}},
        {"printf '%1500s'", {std::string(1023, ' '), std::string(477, ' ')}},
    };
    CShellExecutor executor;
    std::vector<std::string> lines;
    executor.SetSystemControlLogger(Collect, &lines);
    for (const auto& row : rows) {
        lines.clear();
        EXPECT_EQ(executor.ExecuteShellScript(row.command, "r"), 1);
        EXPECT_EQ(lines, row.lines) << row.command;
    }
    EXPECT_EQ(executor.ExecuteShellScript(nullptr, "r"), 0);
    EXPECT_EQ(executor.ExecuteShellScript("echo never", "x"), 0);
}

TEST_F(SystemControl, DistributionDecidesHowForwardingIsRead) {
    const struct {
        const char* release;
        OPERATION_SYSTEM system;
    } rows[] = {
        {"NAME=\"Ubuntu\"\\nID=ubuntu\\n", SYSTEM_UBUNTU},
        {"NAME=\"Ubuntu\"\\n", kUnknownSystem},
        {"NAME=\"CentOS Stream\"\\nID=\"centos\"\\n", SYSTEM_CENT},
        {"NAME=\"CentOS\"\\nID_LIKE=\"Fedora\"\\nVERSION=9\\n", SYSTEM_FEDORA},
        {"NAME=\"Debian GNU/Linux\"\\n", kUnknownSystem},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.release);
        Shell("umount /etc/os-release 2>/dev/null");
        ASSERT_TRUE(Shell(std::string("file=$(mktemp) && printf '") + row.release +
                          "' >$file && mount --bind $file /etc/os-release && rm $file"));
        CSystemControlAdapter distribution;
        EXPECT_EQ(distribution.GetSystem(), row.system);
        EXPECT_EQ(dynamic_cast<CSystemControlCentOS*>(distribution.GetSystemControl()) != nullptr,
                  row.system == SYSTEM_CENT);
    }
}

TEST_F(SystemControl, ForwardingFollowsTheKernelSwitches) {
    const struct {
        const char* ipv4;
        const char* ipv6;
        bool generic;
        bool centOS;
    } rows[] = {{"1", "0", true, true}, {"0", "1", true, false}, {"0", "0", false, false}};
    ISystemControl* generic = nullptr;
    ISystemControl* centOS = nullptr;
    new CSystemControl(&generic);
    new CSystemControlCentOS(&centOS);
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string("IPv4 ") + row.ipv4 + ", IPv6 " + row.ipv6);
        ASSERT_TRUE(Write(kIPv4Switch, row.ipv4));
        ASSERT_TRUE(Write(kIPv6Switch, row.ipv6));
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

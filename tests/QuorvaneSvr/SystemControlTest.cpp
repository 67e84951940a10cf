#include "SystemControl.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "Sandbox.h"
#include "SystemControlAdapter.h"
#include "SystemControlCentOS.h"

namespace {

bool SetForwarding(const std::string& ipv4, const std::string& ipv6) {
    return Shell("echo " + ipv4 + " >/proc/sys/net/ipv4/ip_forward && echo " + ipv6 +
                 " >/proc/sys/net/ipv6/conf/all/forwarding");
}

// Both forwarding switches of the sandbox, off again after each case.
class SystemControl : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_OUTSIDE_SANDBOX();
        if (!SetForwarding("0", "0")) {
            GTEST_SKIP() << "the kernel's forwarding switches are read-only here";
        }
    }
    void TearDown() override {
        if (InSandbox()) {
            Shell("umount /etc/os-release 2>/dev/null; umount /proc/sys/net/ipv4/ip_forward 2>/dev/null");
            SetForwarding("0", "0");
        }
    }
};

}  // namespace

TEST_F(SystemControl, DistributionDecidesHowForwardingIsRead) {
    const std::pair<const char*, OPERATION_SYSTEM> rows[] = {
        {"NAME=\"CentOS Stream\"\\nID=\"centos\"\\n", SYSTEM_CENT},
        {"NAME=\"CentOS\"\\nID_LIKE=\"Fedora\"\\nVERSION=9\\n", SYSTEM_FEDORA},
        {"NAME=\"Debian GNU/Linux\"\\n", kUnknownSystem},
    };
    for (const auto& [release, system] : rows) {
        SCOPED_TRACE(release);
        Shell("umount /etc/os-release 2>/dev/null");
        ASSERT_TRUE(Shell(std::string("file=$(mktemp) && printf '") + release +
                          "' >$file && mount --bind $file /etc/os-release && rm $file"));
        CSystemControlAdapter distribution;
        EXPECT_EQ(distribution.GetSystem(), system);
        EXPECT_EQ(dynamic_cast<CSystemControlCentOS*>(distribution.GetSystemControl()) != nullptr,
                  system == SYSTEM_CENT);
    }
}

TEST_F(SystemControl, ForwardingFollowsTheKernelSwitches) {
    const std::tuple<const char*, const char*, bool, bool> rows[] = {
        // IPv4, IPv6, what is found in general and on CentOS
        {"1", "0", true, true},
        {"0", "1", true, false},
        {"0", "0", false, false},
    };
    ISystemControl* generic = nullptr;
    ISystemControl* centOS = nullptr;
    new CSystemControl(&generic);
    new CSystemControlCentOS(&centOS);
    for (const auto& [ipv4, ipv6, generally, onCentOS] : rows) {
        ASSERT_TRUE(SetForwarding(ipv4, ipv6));
        EXPECT_EQ(generic->NetworkEnableIpForwarding() != 0, generally) << ipv4 << ipv6;
        EXPECT_EQ(centOS->NetworkEnableIpForwarding() != 0, onCentOS) << ipv4 << ipv6;
    }
    ASSERT_TRUE(Shell("mount --bind /dev/null /proc/sys/net/ipv4/ip_forward"));
    EXPECT_EQ(generic->NetworkEnableIpForwarding(), 0) << "a switch that cannot be read keeps its last value";
    EXPECT_EQ(CSystemControlAdapter().GetSystemControl()->NetworkEnableIpForwarding(), 1) << "none yet";
    generic->Release();
    centOS->Release();
}

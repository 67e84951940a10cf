#include "WiFiSharedValidate.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "RunningProgram.h"
#include "Sandbox.h"
#include "TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

constexpr char kIPv4Switch[] = "/proc/sys/net/ipv4/ip_forward";

// A rule; `name` with its markup characters escaped.
std::string Process(const std::string& name, const std::string& displayName) {
    return "<process displayname=\"" + displayName + "\">" + name + "</process>";
}

std::string Document(const std::string& rules) {
    return "<?xml version=\"1.0\" encoding=\"GB18030\"?><user-config><interval>60</interval><against>" +
           rules + "</against></user-config>";
}

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
    EXPECT_EQ(Finds(Process("never-started ", "no") + Process(" \ta&lt;b&amp;c\n", "shown")), "shown");
    for (const char* name : {"x\ntouch injected", "'; touch injected; '"}) {
        EXPECT_EQ(Finds(Process(std::string(5000, 'x') + name, "shown")), "");
    }
    EXPECT_FALSE(folder.Has("injected")) << "a name never runs in the shell";
}

TEST_F(WiFiSharedValidate, FirstReadableDocumentStaysAndTheFirstRunningProgramInItIsNamed) {
    const RunningProgram first("quorvane-a");
    const RunningProgram second("quorvane-b");
    const std::string rules = Process("never-started", "0") + Process("quorvane-b", "b") +
                              Process("quorvane-a", "overwritten") + Process("quorvane-a", "a");
    const std::string good = Document(rules);
    EXPECT_EQ(sharing.IsValidEnvironment(nullptr), 0);
    for (const std::string& document :
         {std::string(), "<user-config>" + rules + "</user-config>",
          "<other><against>" + rules + "</against></other>", good.substr(0, good.find("<against>"))}) {
        EXPECT_EQ(sharing.IsValidEnvironment(document.c_str()), 0) << document;
    }
    EXPECT_EQ(sharing.IsValidEnvironment(good.c_str()), 1);
    EXPECT_EQ(sharing.IsValidEnvironment(Document(Process("quorvane-b", "b")).c_str()), 1);
    EXPECT_STREQ(sharing.GetDisplayName(), "a");
}

TEST_F(WiFiSharedValidate, LongListsHoldUpNoPulses) {
    const RunningProgram program("quorvane-a");
    std::string rules;
    for (int number = 0; number < 256; ++number) {
        rules += Process("never-started-" + std::to_string(number), "0");
    }
    EXPECT_EQ(Finds(rules + Process("quorvane-a", "a")), "");
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
    const std::string rule = "<shared><other/><ipforward> 1 </ipforward></shared>";
    EXPECT_EQ(Finds(Process("never-started", "0") + rule), "IP\xCA\xFD\xBE\xDD\xD7\xAA\xB7\xA2");
    EXPECT_EQ(Finds(Process("quorvane-a", "a") + rule), "a");
    EXPECT_EQ(Finds("<shared><ipforward>0</ipforward></shared>"), "");
    std::ofstream(kIPv4Switch) << "0";
}

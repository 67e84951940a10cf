// The program that makes a folder ready, run as the unit runs it.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "RunProgram.h"
#include "Sandbox.h"
#include "TemporaryFolder.h"
#include "XMLOpt.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr char kSettings[] = "conf/conf.xml";

class Prepare : public testing::Test {
  protected:
    void WriteSettings(const std::string& elements) {
        folder.Write(kSettings, "<settings>" + elements + "</settings>");
    }

    // Returns the exit status; `output` holds what was told.
    int Run() { return RunProgram("'" PREPARE "' --config etc", output); }

    static std::string Setting(const char* key) {
        CXMLOpt settings;
        EXPECT_TRUE(settings.LoadFile(kSettings));
        return settings.GetValue(key).GetText();
    }

    TemporaryFolder folder;
    std::string output;
};

TEST_F(Prepare, TakesWhatIsValidAndNamesTheRest) {
    const std::tuple<std::string, const char*, const char*, const char*> rows[] = {
        {"\xEF\xBB\xBF#version=1\r\n\r\n ;x\r\n\t version =  2 & 3 \r\n", "version", "2 & 3", ""},
        {"[a\x1b]\nx\nplusFlag=1\n[quorvane]\nversion=2", "version", "2", ":1: [a?] is no section"},
        {"plusFlag=1\n[a]\nplusFlag=0", "plusFlag", "1", ":2: [a] is no section"},
        {"version=2\nVersion=3", "version", "2", ":2: unknown key Version\n"},
        {"version\nplusFlag=1", "plusFlag", "1", ":1: no \"key = value\"\n"},
        {"version=2\n" + std::string(64 * 1024, '#'), "version", "", ": not read: it has more than 64 KiB\n"},
        {"version=" + std::string(65, 'v'), "version", "", ":1: version has to be 1 to 64"},
        {"version=a\x7f", "version", "", ":1: version"},
        {"redirect = https://[::1]:8080/a?b=c&d", "redirect", "https://[::1]:8080/a?b=c&d", ""},
        {"redirect=ftp://a/", "redirect", "", ":1: redirect has to be an address"},
        {"redirectipv6=http://a/ # b", "redirectipv6", "", ":1: redirectipv6"},
        {"markerHost = login.campus-1.example", "markerHost", "login.campus-1.example", ""},
        {"markerHost = a/b", "markerHost", "", ":1: markerHost has to be a host name\n"},
        {"markerHost = a-", "markerHost", "", ":1: markerHost"},
        {"plusFlag = 2", "plusFlag", "", ":1: plusFlag has to be 0 or 1\n"},
        {"plusInterval = 86400", "plusInterval", "86400", ""},
        {"plusInterval = 86401", "plusInterval", "", ":1: plusInterval has to be a number from 1 to 86400\n"},
        {"plusInterval = 1h", "plusInterval", "", ":1: plusInterval"},
        {"messageEngine = fast", "messageEngine", "", ":1: messageEngine has to be waiting or polling\n"},
    };
    for (const auto& [text, key, value, told] : rows) {
        SCOPED_TRACE(text.substr(0, 80));
        WriteSettings("");
        folder.Write("etc/quorvane.conf", text);
        EXPECT_EQ(Run(), 0);
        EXPECT_EQ(Setting(key), value);
        EXPECT_THAT(output, StartsWith(*told == '\0' ? "" : std::string("etc/quorvane.conf") + told));
        EXPECT_EQ(output.empty(), *told == '\0');
    }
}

TEST_F(Prepare, GivesBackWhatStoodThereBeforeAKeyWasSet) {
    const std::string others = "<ticket>t &#117;</ticket> <!-- mine -->\n";
    WriteSettings(others + "<redirect>http://by.hand/</redirect>");
    folder.Write("etc/quorvane.conf", "redirect=http://main/\nplusFlag=1\n");
    folder.Write("etc/conf.d/10.conf", "redirect=http://10/");
    folder.Write("etc/conf.d/9.conf", "redirect=http://9/");
    EXPECT_TRUE(std::filesystem::create_directory("etc/conf.d/a.conf"));
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(output, "etc/conf.d/a.conf: cannot be read: Invalid argument\n");
    EXPECT_EQ(Setting("redirect"), "http://9/");
    const auto written = std::filesystem::last_write_time(kSettings);
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(std::filesystem::last_write_time(kSettings), written) << "nothing changed";
    std::filesystem::remove_all("etc");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Setting("redirect"), "http://by.hand/");
    EXPECT_EQ(Setting("plusFlag"), "");
    EXPECT_THAT(folder.Read(kSettings), HasSubstr(others));
    EXPECT_EQ(Setting("replaced.redirect"), "") << "what was given back is the user's again";
}

TEST_F(Prepare, ForgetsTheProcessOfAnEndedRun) {
    for (const char* ended : {"1", "999999999", "\n", "-1"}) {
        WriteSettings(std::string("<!--<PID>7</PID>--><PID>") + ended + "</PID>");
        EXPECT_EQ(Run(), 0);
        EXPECT_EQ(Setting("PID"), "") << ended;
        EXPECT_THAT(folder.Read(kSettings), HasSubstr("<!--<PID>7</PID>-->"));
    }
}

TEST_F(Prepare, ClonedMachineIsAnotherClient) {
    const std::string first(32, 'a');
    const std::string second = std::string(32, 'b') + "\n";
    folder.Write("id", first);
    if (!InSandbox() || !Shell("mount --bind id /etc/machine-id")) {
        GTEST_SKIP() << "needs mount namespaces, and a machine that has an id";
    }
    WriteSettings("<clientId>c</clientId><ticket>t</ticket>");
    for (const std::string& id :
         {first, first + "\n", std::string("uninitialized\n"), std::string(), second}) {
        folder.Write("id", id);
        EXPECT_EQ(Run(), 0);
        EXPECT_EQ(Setting("clientId") + Setting("ticket"), id == second ? "" : "ct") << id;
    }
    EXPECT_THAT(folder.Read(kSettings), Not(HasSubstr(second.substr(0, 8)))) << "the id is confidential";
    EXPECT_TRUE(Shell("umount /etc/machine-id"));
}

TEST_F(Prepare, MendsBrokenSettingsAndFailsWithoutAny) {
    EXPECT_EQ(Run(), 1) << "beside the build there are none to begin with";
    EXPECT_THAT(output, HasSubstr("conf.xml: cannot be read: No such file"));
    folder.Write("etc/quorvane.conf", "version = 9");
    folder.Write(kSettings, "<settings><PID>");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(output, HasSubstr("it was put aside as conf/conf.xml.broken-"));
    EXPECT_EQ(Setting("version"), "9");
}

}  // namespace

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "FrontEnd.h"
#include "ReportWords.h"
#include "ServiceProcess.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;

namespace {

constexpr milliseconds kShort(50);

std::string State(const std::string& parameters) {
    return "<M><OpS>NetModule</OpS><OpT>Portal</OpT><OpC>NetStateMessageResp</OpC><P>" + parameters +
           "</P></M>";
}

// The service's ends of both FIFOs.
class Service {
  public:
    Service() {
        mkfifo("serverpipe", 0600);
        mkfifo("clientpipe", 0600);
        m_toFrontEnd = open("serverpipe", O_RDWR);  // does not wait for a reader
        m_fromFrontEnd = open("clientpipe", O_RDONLY | O_NONBLOCK);
    }
    ~Service() {
        Leave();
        close(m_fromFrontEnd);
    }
    void Write(const std::string& bytes) {
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(m_toFrontEnd, bytes.data(), bytes.size()));
    }
    std::string Read() {
        char bytes[4096];
        const ssize_t count = read(m_fromFrontEnd, bytes, sizeof(bytes));
        return std::string(bytes, count > 0 ? static_cast<size_t>(count) : 0);
    }
    void Leave() {
        if (m_toFrontEnd >= 0) {
            close(m_toFrontEnd);
            m_toFrontEnd = -1;
        }
    }

  private:
    int m_toFrontEnd = -1;
    int m_fromFrontEnd = -1;
};

struct ClientRun {
    explicit ClientRun(const std::string& arguments) {
        FILE* pipe = popen((PIPE_CLIENT " " + arguments + " 2>&1").c_str(), "r");
        char line[1024];
        while (fgets(line, sizeof(line), pipe) != nullptr) {
            output += line;
        }
        status = WEXITSTATUS(pclose(pipe));
    }
    std::string output;
    int status = -1;
};

}  // namespace

TEST(FrontEnd, SendsWellFormedRequestsWhateverTheTexts) {
    TemporaryFolder folder;
    Service service;
    FrontEnd frontEnd(".");
    ASSERT_TRUE(frontEnd.Connect(seconds(5)));
    const struct {
        std::function<bool()> send;
        std::string operation;
        std::string parameters;
    } rows[] = {
        {[&] { return frontEnd.Send("ClientStart"); }, "ClientStart", ""},
        {[&] { return frontEnd.Login("a&b", "<%s>"); }, "PortalConnect",
         "<user>a&amp;b</user><password>&lt;%s&gt;</password>"},
        {[&] { return frontEnd.Logout("1"); }, "PortalDisConnect", "<src>1</src>"},
        {[&] { return frontEnd.TerminalLogout("T<1"); }, "TerminalTermSend", "<ticket>T&lt;1</ticket>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.operation);
        EXPECT_TRUE(row.send());
        const std::string envelope = "<M><OpS>client</OpS><OpT>Portal</OpT><OpC>" + row.operation +
                                     "</OpC><P>" + row.parameters + "</P></M>";
        EXPECT_EQ(envelope + '\0', service.Read());
    }
}

TEST(FrontEnd, PutsReportsTogetherAndNoticesTheEnd) {
    TemporaryFolder folder;
    Service service;
    FrontEnd frontEnd(".");
    ASSERT_TRUE(frontEnd.Connect(seconds(5)));
    EXPECT_FALSE(frontEnd.Receive(kShort));

    const std::string connected = State("<newState>2</newState>");
    const std::string failed = State("<newState>3</newState><ErrorCode>42</ErrorCode>");
    service.Write(connected.substr(0, 20));
    EXPECT_FALSE(frontEnd.Receive(kShort));
    service.Write(connected.substr(20) + '\0' + failed + '\0' + "<M");
    EXPECT_TRUE(frontEnd.AwaitState(INetConn::ES_CONNECTED, seconds(5)));
    EXPECT_TRUE(frontEnd.AwaitState(INetConn::ES_CONNECTED, kShort)) << "is so already";
    EXPECT_FALSE(frontEnd.AwaitState(INetConn::ES_DISCONNECTED, kShort));
    EXPECT_EQ(42, frontEnd.Received().back().errorCode);

    EXPECT_FALSE(frontEnd.IsServiceGone());
    service.Leave();
    EXPECT_FALSE(frontEnd.Receive(seconds(5)));
    EXPECT_TRUE(frontEnd.IsServiceGone());
}

TEST(FrontEnd, GivesUpOnAServiceThatDoesNotCome) {
    TemporaryFolder folder;
    EXPECT_FALSE(FrontEnd(".").Connect(kShort)) << "no FIFO";
    ASSERT_EQ(0, mkfifo("serverpipe", 0600));
    EXPECT_FALSE(FrontEnd(".").Connect(kShort)) << "the FIFO of a service that is gone";
    EXPECT_TRUE(folder.Has("clientpipe")) << "the service would not see another one";
}

TEST(ReportWords, NameStatesAndCodes) {
    const struct {
        const char* what;
        std::string envelope;
        const char* expected;
    } rows[] = {
        {"known", State("<oldState>1</oldState><newState>2</newState><ErrorCode>1</ErrorCode>"),
         "connecting -> connected, code 1 (done)"},
        {"refused", State("<newState>3</newState><ErrorCode>140105</ErrorCode><subErrCode>11</subErrCode>"),
         "none -> connectfail, code 140105 (refused by the portal with code 105), subErrCode 11"},
        {"unknown", State("<newState>77</newState><ErrorCode>-5</ErrorCode>"), "none -> 77, code -5"},
        {"not a state", "<M><OpC>SetValue</OpC></M>", "<M><OpC>SetValue</OpC></M>"},
        {"no markup", "%s", "%s"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.expected, DescribeReport(Report(row.envelope)));
    }
    EXPECT_EQ(INetConn::ES_PRECONNECTED, StateByName("preconnected"));
    EXPECT_FALSE(StateByName("2"));
}

TEST(PipeClient, RefusesWhatItDoesNotUnderstand) {
    TemporaryFolder folder;
    for (const char* arguments : {"", "dance", "start dance", "login account", "send", "--timeout 0 start",
                                  "--timeout 1x start", "--timeout 99999999999 start", "--other start"}) {
        SCOPED_TRACE(arguments);
        const ClientRun run(arguments);
        EXPECT_EQ(2, run.status);
        EXPECT_THAT(run.output, HasSubstr("Usage: "));
    }
    EXPECT_FALSE(folder.Has("clientpipe"));
}

// Without a portal the check fails, whatever the network of this machine is like.
TEST(PipeClient, DrivesTheServiceAndComesBackToIt) {
    TemporaryFolder folder;
    EXPECT_EQ(3, ClientRun("--timeout 1 start").status);
    folder.Write("conf/conf.xml",
                 "<settings><redirect>http://127.0.0.1:1/</redirect>"
                 "<redirectipv6>http://127.0.0.1:1/</redirectipv6></settings>");
    const ServiceProcess service;
    const ClientRun first("--dir . start check");
    EXPECT_EQ(1, first.status);
    EXPECT_THAT(first.output, HasSubstr("<OpC>ClientStartComplete</OpC>"));
    EXPECT_THAT(first.output, HasSubstr("preconnecting -> preconnectfail, code "));

    EXPECT_EQ(0, ClientRun("start expect preconnectfail").status);
    const ClientRun third("--timeout 1 send Dance '<step>1</step>' expect connected");
    EXPECT_EQ(3, third.status);
    EXPECT_THAT(third.output, HasSubstr("nothing came in time"));
    EXPECT_EQ(2, ClientRun("expect somewhere").status);
}

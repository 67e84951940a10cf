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

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;

namespace {

constexpr milliseconds kShort(50);

std::string State(const std::string& parameters) {
    return "<M><OpC>NetStateMessageResp</OpC><P>" + parameters + "</P></M>";
}

// Runs the program and answers its exit status; `output` holds what it printed on both streams.
int Client(const std::string& arguments, std::string& output) {
    FILE* pipe = popen((PIPE_CLIENT " " + arguments + " 2>&1").c_str(), "r");
    char line[1024];
    for (output.clear(); fgets(line, sizeof(line), pipe) != nullptr;) {
        output += line;
    }
    return WEXITSTATUS(pclose(pipe));
}

}  // namespace

TEST(FrontEnd, SendsTextsAndPutsReportsTogether) {
    TemporaryFolder folder;
    EXPECT_FALSE(FrontEnd(".").Connect(kShort)) << "no FIFO";
    ASSERT_EQ(0, mkfifo("serverpipe", 0600));
    EXPECT_FALSE(FrontEnd(".").Connect(kShort)) << "the FIFO of a service that is gone";
    ASSERT_TRUE(folder.Has("clientpipe")) << "the service would not see another one";
    const int toFrontEnd = open("serverpipe", O_RDWR);  // does not wait for a reader
    const int fromFrontEnd = open("clientpipe", O_RDONLY | O_NONBLOCK);
    FrontEnd frontEnd(".");
    ASSERT_TRUE(frontEnd.Connect(seconds(5)));

    EXPECT_TRUE(frontEnd.Login("a&b", "<%s>"));
    char bytes[4096] = {};
    EXPECT_GT(read(fromFrontEnd, bytes, sizeof(bytes)), 0);
    EXPECT_STREQ(
        "<M><OpS>client</OpS><OpT>Portal</OpT><OpC>PortalConnect</OpC>"
        "<P><user>a&amp;b</user><password>&lt;%s&gt;</password></P></M>",
        bytes);

    const std::string connected = State("<newState>2</newState>");
    const std::string rest =
        connected.substr(20) + '\0' + State("<newState>3</newState><ErrorCode>42</ErrorCode>") + '\0' + "<M";
    EXPECT_EQ(20, write(toFrontEnd, connected.data(), 20));
    EXPECT_FALSE(frontEnd.Receive(kShort));
    EXPECT_EQ(static_cast<ssize_t>(rest.size()), write(toFrontEnd, rest.data(), rest.size()));
    EXPECT_TRUE(frontEnd.AwaitState(INetConn::ES_CONNECTED, seconds(5)));
    EXPECT_TRUE(frontEnd.AwaitState(INetConn::ES_CONNECTED, kShort)) << "is so already";
    EXPECT_FALSE(frontEnd.AwaitState(INetConn::ES_DISCONNECTED, kShort));
    EXPECT_EQ(42, frontEnd.Received().back().errorCode);
    EXPECT_FALSE(frontEnd.IsServiceGone());
    close(toFrontEnd);
    EXPECT_FALSE(frontEnd.Receive(seconds(5)));
    EXPECT_TRUE(frontEnd.IsServiceGone());
    close(fromFrontEnd);
}

TEST(ReportWords, NameStatesAndCodes) {
    const std::pair<std::string, const char*> rows[] = {
        {State("<oldState>1</oldState><newState>2</newState><ErrorCode>1</ErrorCode>"),
         "connecting -> connected, code 1 (done)"},
        {State("<newState>3</newState><ErrorCode>140105</ErrorCode><subErrCode>11</subErrCode>"),
         "none -> connectfail, code 140105 (refused by the portal with code 105), subErrCode 11"},
        {State("<newState>77</newState><ErrorCode>-5</ErrorCode>"), "none -> 77, code -5"},
        {"<M><OpC>SetValue</OpC></M>", "<M><OpC>SetValue</OpC></M>"},
        {"no markup %s", "no markup %s"},
    };
    for (const auto& [envelope, expected] : rows) {
        EXPECT_EQ(expected, DescribeReport(Report(envelope)));
    }
    EXPECT_EQ(INetConn::ES_PRECONNECTED, StateByName("preconnected"));
    EXPECT_FALSE(StateByName("2"));
}

TEST(PipeClient, RefusesWhatItDoesNotUnderstand) {
    TemporaryFolder folder;
    std::string output;
    for (const char* arguments : {"", "start dance", "login account", "--timeout 0 start",
                                  "--timeout 1x start", "--timeout 99999999999 start", "--other start"}) {
        EXPECT_EQ(2, Client(arguments, output)) << arguments;
        EXPECT_THAT(output, HasSubstr("Usage: "));
    }
    EXPECT_FALSE(folder.Has("clientpipe"));
}

// Without a portal the check fails, whatever the network of this machine is like.
TEST(PipeClient, DrivesTheServiceAndComesBackToIt) {
    TemporaryFolder folder;
    std::string output;
    EXPECT_EQ(3, Client("--timeout 1 start", output));
    folder.Write("conf/conf.xml",
                 "<settings><redirect>http://127.0.0.1:1/</redirect>"
                 "<redirectipv6>http://127.0.0.1:1/</redirectipv6></settings>");
    const ServiceProcess service;
    EXPECT_EQ(1, Client("--dir . start check", output));
    EXPECT_THAT(output, HasSubstr("<OpC>ClientStartComplete</OpC>"));
    EXPECT_THAT(output, HasSubstr("preconnecting -> preconnectfail, code "));
    EXPECT_EQ(0, Client("start expect preconnectfail", output));
    EXPECT_EQ(3, Client("--timeout 1 send Dance '<step>1</step>' expect connected", output));
    EXPECT_THAT(output, HasSubstr("nothing came in time"));
    EXPECT_EQ(2, Client("expect somewhere", output));
}

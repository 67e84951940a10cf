#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FrontEnd.h"
#include "ReportText.h"
#include "ReportWords.h"
#include "RunProgram.h"
#include "ServiceProcess.h"
#include "TemporaryFolder.h"

using testing::HasSubstr;

namespace {

std::string State(const std::string& parameters) {
    return "<M><OpC>NetStateMessageResp</OpC><P>" + parameters + "</P></M>";
}

int Client(const std::string& arguments, std::string& output) {
    return RunProgram("'" PIPE_CLIENT "' --timeout 1 " + arguments, output);
}

}  // namespace

TEST(ReportText, IsReadable) {
    const std::pair<std::string, const char*> rows[] = {
        {State("<newState>3</newState><ErrorCode>140017</ErrorCode><subErrCode>11</subErrCode>"),
         "none -> connectfail, code 140017 (the portal answered with its error 17), subErrCode 11"},
        {State("<newState>77</newState><ErrorCode>-5</ErrorCode><extern>\xD6\xD0\x1B[1m</extern>"),
         "none -> 77, code -5, extern \u4E2D?[1m"},
        {"<a>\xD6\xD0</a><b>\u4E2D\xC2\x9B </b><c>\xFF.</c><d>\xF8\x88\x80\x80\x80.\xF8\x90\x80\x80.</d>",
         "<a>\u4E2D</a><b>\u4E2D? </b><c>?.</c><d>?????.????.</d>"},
    };
    for (const auto& [envelope, expected] : rows) {
        EXPECT_EQ(expected, DescribeReport(Report(envelope)));
    }
}

TEST(ReportWords, StandInTheDocument) {
    const std::string document = TemporaryFolder().Read(CODES_DOCUMENT);
    std::vector<ReportWord> words(std::begin(kStateWords), std::end(kStateWords));
    words.insert(words.end(), std::begin(kCodeWords), std::end(kCodeWords));
    for (const ReportWord& word : words) {
        const std::string row = "\n| " + std::to_string(word.number) + " | `" + word.name + "` | ";
        EXPECT_THAT(document, HasSubstr(row + word.words + " | "));
    }
    EXPECT_THAT(document, HasSubstr("| 140000 + n | `" + CodeName(140017) + "` | "));
}

// Without a portal the check fails, whatever the network of this machine is like.
TEST(PipeClient, DrivesTheServiceAndComesBackToIt) {
    TemporaryFolder folder;
    std::string output;
    EXPECT_EQ(2, Client("start dance", output));
    EXPECT_EQ(3, Client("start", output));
    ASSERT_EQ(0, mkfifo("serverpipe", 0600));  // as a killed service leaves it
    EXPECT_EQ(3, Client("start", output));
    EXPECT_FALSE(folder.Has("clientpipe"));
    folder.Write("conf/conf.xml",
                 "<settings><redirect>http://127.0.0.1:1/</redirect>"
                 "<redirectipv6>http://127.0.0.1:1/</redirectipv6></settings>");
    const ServiceProcess service;
    EXPECT_EQ(1, Client("--timeout 10 start check", output));
    EXPECT_THAT(output, HasSubstr("<OpC>ClientStartComplete</OpC>"));
    EXPECT_THAT(output, HasSubstr("preconnecting -> preconnectfail, code "));
    EXPECT_EQ(0, Client("--timeout 10 start expect preconnectfail", output));
    EXPECT_EQ(3, Client("send Dance '<step>1</step>' expect connected", output));
    EXPECT_THAT(output, HasSubstr("nothing came in time"));
    FrontEnd frontEnd(".");
    ASSERT_TRUE(frontEnd.Connect(std::chrono::seconds(5)));
    kill(service.Pid(), SIGKILL);
    EXPECT_FALSE(frontEnd.Receive(std::chrono::seconds(5)));
    EXPECT_TRUE(frontEnd.IsServiceGone());
}

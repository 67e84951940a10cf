#include "PortalParser.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "SampleTransform.h"
#include "TemporaryFolder.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A parser in a folder of its own that holds the first sample module.
class PortalParser : public testing::Test {
  protected:
    PortalParser() {
        std::filesystem::copy_file(SAMPLE_MODULE_1, m_folder.Path() + "/zxmAlogic.zxm");
        parser.Init();
    }

    static CAutoString Answer(const std::string& document) { return sample::FirstVersion().encode(document); }

    // Reads a configuration with these elements into the record.
    void Read(const std::string& elements) {
        CAuthConfig* target = &record;
        EXPECT_EQ(parser.ParserConfig(("<config>" + elements + "</config>").c_str(), target), 0);
    }

    CPortalParser parser;
    CAuthConfig record;

  private:
    TemporaryFolder m_folder;
};

TEST_F(PortalParser, ReadsAConfigurationOverAnEarlierOne) {
    record.strAuthUrl = "old";
    record.stateInterval = 9;
    record.m_vecRegister.emplace_back("old");
    Read(
        "<ticket-url>http://t?x=1&amp;y=2</ticket-url>"
        "<notify><register>r1</register><option>o1</option><register>r2</register></notify>"
        "<auth><type>jvn-http-pap</type></auth><auth><type>jvn-mobile-qr</type><default>Yes</default></auth>"
        "<auth><type>other</type><default>0</default></auth>"
        "<FunCfg><StatsInfor enable=\"1\"/><Other>a</Other><Other>b</Other></FunCfg>");
    EXPECT_EQ(record.strTickUrl, "http://t?x=1&y=2");
    EXPECT_EQ(record.strAuthUrl, "old");
    EXPECT_THAT(record.m_vecRegister, ElementsAre(CAutoString("r1"), CAutoString("r2")));
    EXPECT_THAT(record.m_vecOption, ElementsAre(CAutoString("o1")));
    EXPECT_EQ(record.nAuthType, 1 + 2 + 4);
    EXPECT_EQ(record.nDefaultAuth, 2);
    EXPECT_EQ(record.funCfg["StatsInfor"], "<StatsInfor enable=\"1\"/>");
    EXPECT_EQ(record.funCfg["Other"], "<Other>b</Other>");
    EXPECT_EQ(record.stateInterval, 9u);
    Read("<auth><type>jvn-http-pap</type></auth><auth><type>jvn-http-pap</type></auth><notify/>");
    EXPECT_EQ(record.nAuthType, 2) << "a type that is listed twice counts twice";
    EXPECT_THAT(record.m_vecRegister, IsEmpty());
    for (const char* interval : {"0", "soon", "-3"}) {
        record.stateInterval = 99;
        Read(std::string("<state-interval>") + interval + "</state-interval>");
        EXPECT_EQ(record.stateInterval, 5u) << interval;
    }
    for (const char* none : {"", "<other/>", "<config>", "<config/><config/>"}) {
        CAuthConfig* created = nullptr;
        EXPECT_EQ(parser.ParserConfig(none, created), -1) << none;
        EXPECT_NE(created, nullptr);
        delete created;
    }
}

TEST_F(PortalParser, ConfigurationsDoNotFillTheMemory) {
    for (int i = 0; i < 300; ++i) {
        const std::string name = "F" + std::to_string(i);
        Read("<FunCfg><" + name + "/><F0>" + name + "</F0></FunCfg>");
    }
    EXPECT_EQ(record.funCfg.size(), 256u);
    EXPECT_EQ(record.funCfg["F299"], "<F299/>") << "what is said now counts more than what was said before";
    Read("<FunCfg><F0>" + std::string(9000, 'x') + "</F0></FunCfg>");
    EXPECT_EQ(record.funCfg["F0"], "<F0>F299</F0>");
    CAuthConfig* target = &record;
    const std::string large = "<config>" + std::string(600000, ' ') + "</config>";
    EXPECT_EQ(parser.ParserConfig(large.c_str(), target), -1);
}

TEST_F(PortalParser, ReadsTheTimesOfTheSharingCheck) {
    const std::tuple<const char*, int, int> rows[] = {
        {"<against-interval>60</against-interval><logout-delay>30</logout-delay>", 60, 30},
        {"<against-interval></against-interval><logout-delay></logout-delay>", 0, 300},
        {"</against-interval><against-interval>60<logout-delay>30", 0, 300},
    };
    for (const auto& [text, interval, logout] : rows) {
        EXPECT_EQ(parser.GetCheckWifiShareTime(text), interval) << text;
        EXPECT_EQ(parser.GetCheckWifiLogoutTime(text), logout) << text;
    }
}

TEST_F(PortalParser, HeadsNameTheSchoolOnlyWhenItIsKnown) {
    const std::string head = parser.MakeRequestHead("agent", "id", "sum", "", nullptr, "a\nX: b").GetText();
    EXPECT_EQ(head, std::string("Connection:close\r\nUser-Agent:agent\r\nAlgo-ID:") +
                        sample::FirstVersion().algorithmId + "\r\nClient-ID:id\r\nJVN-Checksum:sum\r\n");
}

TEST_F(PortalParser, AnswersLeaveUntouchedWhatTheyDoNotName) {
    CAutoString ticket = "old";
    int expire = 5;
    EXPECT_EQ(parser.ParserTickResponse(Answer("<response/>"), ticket, expire), 0);
    EXPECT_EQ(parser.ParserTickResponse("not encoded", ticket, expire), -1);
    EXPECT_EQ(ticket + std::to_string(expire).c_str(), "old5");
}

TEST_F(PortalParser, AnswersBecomeGb18030UnlessTheyAreNotUtf8) {
    EXPECT_EQ(parser.DecodePostResponseData(Answer("\xe7\x94\xb2")), "\xbc\xd7");
    EXPECT_EQ(parser.DecodePostResponseData(Answer("caf\xe9")), "caf\xe9");
    EXPECT_EQ(parser.DecodePostResponseData(Answer("\xf0\x9f\x98\x80")), "\x94\x39\xfc\x36");
}

}  // namespace

#include "PortalParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Deployment.h"
#include "SampleTransform.h"
#include "TemporaryFolder.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const std::string kOpening = "<!--//" QUORVANE_MARKER_HOST;
const std::string kClosing = "//" QUORVANE_MARKER_HOST "-->";

// A parser in a folder of its own that holds the first sample module.
class PortalParserTest : public testing::Test {
  protected:
    PortalParserTest() {
        std::filesystem::copy_file(SAMPLE_MODULE_1, m_folder.Path() + "/zxmAlogic.zxm");
        parser.Init();
    }

    static std::string Decode(const CAutoString& body) {
        return sample::FirstVersion().decode(body.GetText());
    }
    static CAutoString Answer(const std::string& document) { return sample::FirstVersion().encode(document); }

    CPortalParser parser;

  private:
    TemporaryFolder m_folder;
};

TEST_F(PortalParserTest, CutsTheConfigurationOutOfThePage) {
    const struct {
        const char* what;
        std::string page;
        std::string config;
    } kRows[] = {
        {"between the markers", "<html>" + kOpening + "<config/>" + kClosing + "</html>", "<config/>"},
        {"first closing marker", kOpening + "a" + kClosing + "b" + kClosing, "a"},
        {"no opening marker", "<html>" + kClosing + "</html>", ""},
        {"no closing marker", "<html>" + kOpening + "<config/>", ""},
        {"closing marker in front", kClosing + kOpening + "<config/>", ""},
        {"another host", "<!--//other.example<config/>//other.example-->", ""},
        {"empty page", "", ""},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.what);
        CAutoString config;
        EXPECT_EQ(parser.GetConfigWithString(row.page, config), static_cast<int>(row.config.size()));
        EXPECT_EQ(config.GetText(), row.config);
    }
}

TEST_F(PortalParserTest, ReadsEveryElementOfAConfiguration) {
    CAuthConfig* record = nullptr;
    const int result = parser.ParserConfig(
        "<config><ticket-url>http://t</ticket-url><query-url>http://q</query-url><auth-url>http://a</"
        "auth-url>"
        "<state-url>http://s?x=1&amp;y=2</state-url><state-interval>7</state-interval>"
        "<notify><register>r1</register><option>o1</option><register>r2</register></notify>"
        "<account><modify><type>add-domain</type><value>campus</value></modify></account>"
        "<auth><type>jvn-http-pap</type></auth><auth><type>jvn-mobile-qr</type><default>Yes</default></auth>"
        "<auth><type>other</type><default>0</default></auth>"
        "<server-clusters servers=\"10.1.1.1,10.1.1.2\"/>"
        "<user-config><against-interval>60</against-interval></user-config>"
        "<FunCfg><StatsInfor enable=\"1\"/><Other>a</Other><Other>b</Other></FunCfg></config>",
        record);
    ASSERT_EQ(result, 0);
    const std::unique_ptr<CAuthConfig> owner(record);
    EXPECT_EQ(record->strTickUrl, "http://t");
    EXPECT_EQ(record->strQueryUrl, "http://q");
    EXPECT_EQ(record->strAuthUrl, "http://a");
    EXPECT_EQ(record->strStateUrl, "http://s?x=1&y=2");
    EXPECT_EQ(record->stateInterval, 7u);
    EXPECT_THAT(record->m_vecRegister, ElementsAre(CAutoString("r1"), CAutoString("r2")));
    EXPECT_THAT(record->m_vecOption, ElementsAre(CAutoString("o1")));
    EXPECT_EQ(record->m_strAcountType, "add-domain");
    EXPECT_EQ(record->m_strAcountValue, "campus");
    EXPECT_EQ(record->nAuthType, 1 + 2 + 4);
    EXPECT_EQ(record->nDefaultAuth, 2);
    EXPECT_EQ(record->m_strServers, "10.1.1.1,10.1.1.2");
    EXPECT_EQ(record->againstList, "<user-config><against-interval>60</against-interval></user-config>");
    ASSERT_EQ(record->funCfg.size(), 2u);
    EXPECT_EQ(record->funCfg["StatsInfor"], "<StatsInfor enable=\"1\"/>");
    EXPECT_EQ(record->funCfg["Other"], "<Other>b</Other>");
}

TEST_F(PortalParserTest, KeepsWhatAConfigurationDoesNotName) {
    CAuthConfig record;
    CAuthConfig* target = &record;
    record.strTickUrl = "http://old";
    record.nDefaultAuth = 2;
    record.nAuthType = 5;
    record.stateInterval = 9;
    record.m_vecRegister.emplace_back("old");
    ASSERT_EQ(parser.ParserConfig("<config/>", target), 0);
    EXPECT_EQ(record.strTickUrl, "http://old");
    EXPECT_EQ(record.nDefaultAuth, 2);
    EXPECT_EQ(record.nAuthType, 0);
    EXPECT_EQ(record.stateInterval, 9u);
    EXPECT_EQ(record.m_vecRegister.size(), 1u);
    ASSERT_EQ(parser.ParserConfig("<config><notify/></config>", target), 0);
    EXPECT_THAT(record.m_vecRegister, IsEmpty());
}

TEST_F(PortalParserTest, RefusesWhatIsNoConfiguration) {
    for (const char* document : {"", "plain text", "<other/>", "<config>", "<config/><config/>"}) {
        SCOPED_TRACE(document);
        CAuthConfig* record = nullptr;
        EXPECT_EQ(parser.ParserConfig(document, record), -1);
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->strTickUrl, "");
        delete record;
    }
}

TEST_F(PortalParserTest, FallsBackToFiveSecondsBetweenStateChecks) {
    for (const char* interval : {"0", "", "soon", "-3"}) {
        SCOPED_TRACE(interval);
        CAuthConfig record;
        record.stateInterval = 99;
        CAuthConfig* target = &record;
        const std::string document =
            std::string("<config><state-interval>") + interval + "</state-interval></config>";
        ASSERT_EQ(parser.ParserConfig(document.c_str(), target), 0);
        EXPECT_EQ(record.stateInterval, 5u);
    }
}

TEST_F(PortalParserTest, AddsUpTypesThatAreListedTwice) {
    CAuthConfig record;
    CAuthConfig* target = &record;
    ASSERT_EQ(parser.ParserConfig("<config><auth><type>jvn-http-pap</type><default>1</default></auth>"
                                  "<auth><type>jvn-http-pap</type></auth></config>",
                                  target),
              0);
    EXPECT_EQ(record.nAuthType, 2);
    EXPECT_EQ(record.nDefaultAuth, 1);
}

TEST_F(PortalParserTest, ReadsTheTimesOfTheSharingCheck) {
    const struct {
        const char* text;
        int interval;
        int logout;
    } kRows[] = {
        {"<against-interval>60</against-interval><logout-delay>30</logout-delay>", 60, 30},
        {"<against-interval></against-interval><logout-delay></logout-delay>", 0, 300},
        {"<against-interval>x</against-interval><logout-delay>x</logout-delay>", 0, 0},
        {"<against-interval>60<logout-delay>30", 0, 300},
        {"</against-interval><against-interval>60", 0, 300},
        {"", 0, 300},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(parser.GetCheckWifiShareTime(row.text), row.interval);
        EXPECT_EQ(parser.GetCheckWifiLogoutTime(row.text), row.logout);
    }
}

TEST_F(PortalParserTest, RequestDocumentsListTheirElementsInReverse) {
    const std::string start = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><request>";
    EXPECT_EQ(Decode(parser.MakeTickRequestData("host", "agent", "id", "4", "6", "mac", "now", "tag")),
              start +
                  "<ostag>tag</ostag><local-time>now</local-time><mac>mac</mac><ipv6>6</ipv6>"
                  "<ipv4>4</ipv4><client-id>id</client-id><user-agent>agent</user-agent>"
                  "<host-name>host</host-name></request>");
    EXPECT_EQ(Decode(parser.MakeAuthRequestData("agent", "id", "user", "a<b&c>\"d'", "ticket", "now")),
              start +
                  "<local-time>now</local-time><ticket>ticket</ticket><passwd>a&lt;b&amp;c&gt;\"d'</passwd>"
                  "<userid>user</userid><client-id>id</client-id><user-agent>agent</user-agent></request>");
    EXPECT_EQ(Decode(parser.MakeTermRequestData("agent", "id", "ticket", "now", "3")),
              start +
                  "<reason>3</reason><local-time>now</local-time><ticket>ticket</ticket>"
                  "<client-id>id</client-id><user-agent>agent</user-agent></request>");
}

TEST_F(PortalParserTest, PulsesCarryASharingResultOnlyWhenSharingWasFound) {
    const auto make = [this](const char* subDocument, int shared) {
        return Decode(
            parser.MakeKeepRequestData("agent", "id", "t", "4", "6", "mac", "now", subDocument, shared));
    };
    EXPECT_THAT(make(nullptr, 0), testing::Not(HasSubstr("shared")));
    EXPECT_THAT(make(nullptr, 2), HasSubstr("<request><shared>2</shared><local-time>now"));
    EXPECT_THAT(make("<extra><a>1</a></extra>", 0), HasSubstr("<extra><a>1</a></extra>"));
}

TEST_F(PortalParserTest, HeadsNameTheSchoolOnlyWhenItIsKnown) {
    const std::string always = std::string("Connection:close\r\nUser-Agent:agent\r\nAlgo-ID:") +
                               sample::FirstVersion().algorithmId +
                               "\r\nClient-ID:id\r\nJVN-Checksum:sum\r\n";
    EXPECT_EQ(parser.MakeRequestHead("agent", "id", "sum", "", nullptr, "").GetText(), always);
    EXPECT_EQ(parser.MakeRequestHead("agent", "id", "sum", "1", "d", "a").GetText(),
              always + "JVN-SchoolId:1\r\nJVN-Domain:d\r\nJVN-Area:a\r\n");
}

TEST_F(PortalParserTest, AnswersLeaveUntouchedWhatTheyDoNotName) {
    CAutoString ticket = "old";
    int expire = 5;
    EXPECT_EQ(parser.ParserTickResponse(Answer("<response><ticket>new</ticket></response>"), ticket, expire),
              0);
    EXPECT_EQ(ticket, "new");
    EXPECT_EQ(expire, 5);
    EXPECT_EQ(parser.ParserTickResponse(Answer("<response><expire>x</expire></response>"), ticket, expire),
              0);
    EXPECT_EQ(expire, 0);

    int interval = 1;
    int level = 2;
    EXPECT_EQ(
        parser.ParserKeepResponse(Answer("<response><interval>30</interval></response>"), interval, level),
        0);
    EXPECT_EQ(interval, 30);
    EXPECT_EQ(level, 2);
}

TEST_F(PortalParserTest, ReadsALoginAnswer) {
    CAutoString user;
    CAutoString keepUrl;
    CAutoString termUrl;
    CAutoString userConfig;
    CAutoString domainConfig;
    int keepRetry = 0;
    ASSERT_EQ(parser.ParserAuthResponse(
                  Answer("<response><userid>\xe7\x94\xb2</userid><keep-retry>3</keep-retry>"
                         "<keep-url>k</keep-url><term-url>t</term-url><user-config><a/></user-config>"
                         "<domain-config><dns1>10.1.1.1</dns1></domain-config></response>"),
                  user, keepRetry, keepUrl, termUrl, userConfig, domainConfig),
              0);
    EXPECT_EQ(user, "\xbc\xd7") << "answers arrive in GB18030";
    EXPECT_EQ(keepRetry, 3);
    EXPECT_EQ(keepUrl, "k");
    EXPECT_EQ(termUrl, "t");
    EXPECT_EQ(userConfig, "<user-config><a/></user-config>");
    EXPECT_EQ(domainConfig, "<domain-config><dns1>10.1.1.1</dns1></domain-config>");
}

TEST_F(PortalParserTest, RefusesAnswersThatAreNone) {
    CAutoString ticket = "old";
    int expire = 5;
    const CAutoString kBodies[] = {"", "not encoded", Answer(""), Answer("<other><ticket>x</ticket></other>"),
                                   Answer("<response><ticket>x</response>")};
    for (const CAutoString& body : kBodies) {
        SCOPED_TRACE(body.GetBuffer());
        EXPECT_EQ(parser.ParserTickResponse(body, ticket, expire), -1);
        EXPECT_EQ(ticket, "old");
        EXPECT_EQ(expire, 5);
    }
}

TEST_F(PortalParserTest, KeepsTextThatIsNotUtf8) {
    EXPECT_EQ(parser.DecodePostResponseData(Answer("caf\xe9")), "caf\xe9");
    EXPECT_EQ(parser.DecodePostResponseData(Answer("\xf0\x9f\x98\x80")), "\x94\x39\xfc\x36");
}

TEST_F(PortalParserTest, WithoutAModuleTheFallbackTextIsPosted) {
    std::filesystem::remove("zxmAlogic.zxm");
    EXPECT_EQ(parser.MakeStateRequestData("a", "b", "c", "d"), "tarce log algo auto compstr null value");
    EXPECT_EQ(parser.DecodePostResponseData(Answer("<response/>")), "");
    EXPECT_EQ(parser.GetAlgoId(), "00000000-0000-0000-0000-000000000000");
}

TEST_F(PortalParserTest, ConversionFailsForAnUnknownCharset) {
    char in[] = "text";
    char out[8] = "before";
    size_t room = sizeof(out);
    EXPECT_EQ(parser.CodeConvert("UTF-8", "NO-SUCH-CHARSET", in, 4, out, &room), -1);
    EXPECT_STREQ(out, "before");
}

TEST_F(PortalParserTest, FramesCarryAtMostSixteenBitsOfLength) {
    CAutoMemory<char> payload(70000);
    memset(payload.m_p, 'x', payload.GetMemorySize());
    CAutoMemory<char> frame;
    ASSERT_EQ(parser.PackData(&payload, 7, 9, &frame), 0);
    ASSERT_EQ(frame.GetMemorySize(), 70000u % 65536 + 4);
    EXPECT_EQ(std::string(frame.m_p, 6), "\x70\x11\x07\x09xx");

    unsigned char tag1 = 0;
    unsigned char tag2 = 0;
    CAutoMemory<char> unpacked;
    ASSERT_EQ(parser.UnpackData(frame.m_p, frame.GetMemorySize(), tag1, tag2, &unpacked), 0);
    EXPECT_EQ(tag1, 7);
    EXPECT_EQ(tag2, 9);
    EXPECT_EQ(unpacked.GetMemorySize(), 70000u % 65536);

    EXPECT_EQ(parser.PackData(nullptr, 1, 2, &frame), 0);
    EXPECT_EQ(frame.GetMemorySize(), 4u);
    EXPECT_EQ(parser.UnpackData(frame.m_p, 4, tag1, tag2, &unpacked), 0);
    EXPECT_EQ(unpacked.GetMemorySize(), 70000u % 65536) << "an empty payload leaves the buffer alone";
    EXPECT_EQ(parser.PackData(&payload, 1, 2, nullptr), -1);
    EXPECT_EQ(parser.UnpackData(nullptr, 0, tag1, tag2, &unpacked), -1);
}

}  // namespace

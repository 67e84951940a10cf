// The judge itself: a portal that never complains would let every fault of the service pass.
#include "PortalSim.h"

#include <gmock/gmock.h>
#include <httplib.h>

#include "SampleTransform.h"

using namespace portal_sim;
using testing::HasSubstr;

namespace {

constexpr char kAgent[] = "RAVO/Linux64/1.0";
constexpr char kClientId[] = "01234567-89ab-1cde-8f01-23456789abcd";

// What a ticket request is answered with: "Error-Code", then the complaint that it draws. A piece of the
// document is changed before, or the header of that name.
std::pair<std::string, std::string> AnswerToChanged(const std::string& what, const std::string& value) {
    std::string document =
        std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?><request><ostag>linux64</ostag>") +
        "<local-time>2026-03-15 08:02:11</local-time><mac>02-51-56-4e-00-02</mac><ipv6></ipv6>" +
        "<ipv4>192.0.2.10</ipv4><client-id>" + kClientId + "</client-id><user-agent>" + kAgent +
        "</user-agent><host-name>desk</host-name></request>";
    if (const size_t at = document.find(what); at != std::string::npos) {
        document.replace(at, what.size(), value);
    }
    const std::string body = sample::FirstVersion().encode(document);
    httplib::Headers headers = {{"Connection", "close"},
                                {"User-Agent", kAgent},
                                {"Algo-ID", sample::FirstVersion().algorithmId},
                                {"Client-ID", kClientId},
                                {"JVN-SchoolId", "1001"},
                                {"JVN-Domain", "campus.example"},
                                {"JVN-Area", "0571"},
                                {"JVN-Checksum", Md5Of(body)}};
    if (headers.erase(what) != 0) {
        headers.emplace(what, value);
    }
    PortalSim sim;
    EXPECT_TRUE(sim.Start());
    httplib::Client client("127.0.0.1", sim.Port());
    const httplib::Result answer = client.Post("/ticket", headers, body, "text/plain");
    EXPECT_TRUE(answer);
    const std::vector<std::string> complaints = sim.Complaints();
    return {answer->get_header_value("Error-Code"), complaints.empty() ? "" : complaints[0]};
}

}  // namespace

TEST(PortalSim, JudgesEveryRuleOfARequest) {
    const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
        {"", "", "0", ""},
        {"Algo-ID", "00000000-0000-0000-0000-000000000000", "200", ""},  // the client has no module yet
        {"JVN-Checksum", "0", "99", "checksum"},
        {"Algo-ID", "none", "99", "Algo-ID"},
        {"Algo-ID", sample::SecondVersion().algorithmId, "99", "decode"},
        {"User-Agent", "RAVO/Linux64/", "99", "User-Agent"},
        {"Client-ID", "76543210-89ab-1cde-8f01-23456789abcd", "99", "\"client-id\" differs"},
        {"JVN-SchoolId", "", "99", "jvn-schoolid"},
        {"JVN-Area", "1", "99", "jvn-area"},
        {"Connection", "keep-alive", "99", "close"},
        {"UTF-8", "utf-8", "99", "decode"},
        {"</host-name>", "", "99", "parse"},
        {"<ostag>linux64</ostag>", "<x/>", "99", "\"ostag\" does not stand at position 1"},
        {"<ipv6></ipv6>", "", "99", "\"ipv6\" does not stand"},
        {"</request>", "<x/></request>", "99", "too many"},
        {"02-51", "02:51", "99", "\"mac\" has the wrong form"},
    };
    for (const auto& [what, value, code, complaint] : rows) {
        const auto answer = AnswerToChanged(what, value);
        EXPECT_EQ(answer.first, code) << complaint;
        EXPECT_THAT(answer.second, HasSubstr(complaint));
    }
}

TEST(PortalSim, ScenarioLinesSetWhatTheyNameOrAreRefused) {
    Scenario scenario;
    std::string fault;
    for (const char* line : {"", "# nothing", "account 1@b \"pass word\"", "pulse-seconds 7", "no-portal",
                             "answer login error 105 Last-Login=\"a b\" delay=20"}) {
        EXPECT_TRUE(ApplyLine(line, scenario, fault)) << line << ": " << fault;
    }
    for (const char* line :
         {"acount a b", "pulse-seconds -1", "answer login error x", "answer ticket module no-file"}) {
        EXPECT_FALSE(ApplyLine(line, scenario, fault)) << line;
    }
    EXPECT_EQ(scenario.account + "/" + scenario.password, "1@b/pass word");
    EXPECT_EQ(scenario.pulseSeconds, 7u);
    EXPECT_FALSE(scenario.portal);
    const Answer& answer = scenario.script[Endpoint::Login].at(0);
    EXPECT_EQ(answer.code, kErrorWrongPassword);
    EXPECT_EQ(answer.headers.at("Last-Login"), "a b");
    EXPECT_EQ(answer.delay, std::chrono::milliseconds(20));
}

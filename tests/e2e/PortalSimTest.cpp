// The judge itself: a portal that never complains would let every fault of the service pass.
#include "PortalSim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <openssl/evp.h>

#include "SampleTransform.h"

using namespace portal_sim;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char kAgent[] = "RAVO/Linux64/1.0";
constexpr char kClientId[] = "01234567-89ab-1cde-8f01-23456789abcd";

std::string Md5Of(const std::string& text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    EVP_Digest(text.data(), text.size(), digest, &size, EVP_md5(), nullptr);
    std::string hex;
    for (unsigned i = 0; i < size; ++i) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", digest[i]);
        hex += digits;
    }
    return hex;
}

// A ticket request in parts, so that a test can spoil one of them.
struct TicketRequest {
    std::string document =
        std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?><request><ostag>linux64</ostag>") +
        "<local-time>2026-03-15 08:02:11</local-time><mac>02-51-56-4e-00-02</mac><ipv6></ipv6>" +
        "<ipv4>192.0.2.10</ipv4><client-id>" + kClientId + "</client-id><user-agent>" + kAgent +
        "</user-agent><host-name>desk</host-name></request>";
    httplib::Headers headers = {
        {"Connection", "close"},  {"User-Agent", kAgent},   {"Algo-ID", sample::FirstVersion().algorithmId},
        {"Client-ID", kClientId}, {"JVN-SchoolId", "1001"}, {"JVN-Domain", "campus.example"},
        {"JVN-Area", "0571"}};

    void SetHeader(const std::string& name, const std::string& value) {
        headers.erase(name);
        headers.emplace(name, value);
    }
    void Replace(const std::string& from, const std::string& to) {
        document.replace(document.find(from), from.size(), to);
    }
};

// The complaint that the request draws; empty when it is answered with "Error-Code" 0.
std::string ComplaintAbout(TicketRequest request) {
    PortalSim sim;
    EXPECT_TRUE(sim.Start());
    const std::string body = sample::FirstVersion().encode(request.document);
    request.headers.emplace("JVN-Checksum", Md5Of(body));
    httplib::Client client("127.0.0.1", sim.Port());
    const httplib::Result answer = client.Post("/ticket", request.headers, body, "text/plain");
    EXPECT_TRUE(answer);
    const std::vector<std::string> complaints = sim.Complaints();
    EXPECT_EQ(answer->get_header_value("Error-Code"), complaints.empty() ? "0" : "99");
    return complaints.empty() ? "" : complaints[0];
}

}  // namespace

TEST(PortalSim, AcceptsARequestThatKeepsTheProtocol) {
    EXPECT_EQ(ComplaintAbout({}), "");
}

TEST(PortalSim, ComplainsAboutEveryBrokenRule) {
    const struct {
        const char* what;
        void (*spoil)(TicketRequest&);
        const char* complaint;
    } kRows[] = {
        {"checksum", [](TicketRequest& r) { r.SetHeader("JVN-Checksum", "0"); }, "checksum"},
        {"module", [](TicketRequest& r) { r.SetHeader("Algo-ID", "none"); }, "Algo-ID"},
        {"other module",
         [](TicketRequest& r) { r.SetHeader("Algo-ID", sample::SecondVersion().algorithmId); }, "decode"},
        {"agent", [](TicketRequest& r) { r.SetHeader("User-Agent", "RAVO/Linux64/"); }, "User-Agent"},
        {"client", [](TicketRequest& r) { r.SetHeader("Client-ID", "76543210-89ab-1cde-8f01-23456789abcd"); },
         "\"client-id\" differs"},
        {"school", [](TicketRequest& r) { r.headers.erase("JVN-SchoolId"); }, "jvn-schoolid"},
        {"area", [](TicketRequest& r) { r.SetHeader("JVN-Area", "1"); }, "jvn-area"},
        {"connection", [](TicketRequest& r) { r.SetHeader("Connection", "keep-alive"); }, "close"},
        {"declaration", [](TicketRequest& r) { r.Replace("UTF-8", "utf-8"); }, "decode"},
        {"broken document", [](TicketRequest& r) { r.Replace("</host-name>", ""); }, "parse"},
        {"root",
         [](TicketRequest& r) {
             r.Replace("<request>", "<r>");
             r.Replace("</request>", "</r>");
         },
         "root"},
        {"order",
         [](TicketRequest& r) {
             r.Replace("<ipv6></ipv6>", "");
             r.Replace("<mac>", "<ipv6></ipv6><mac>");
         },
         "\"mac\" does not stand at position 3"},
        {"missing", [](TicketRequest& r) { r.Replace("<ipv6></ipv6>", ""); }, "\"ipv6\" does not stand"},
        {"too many", [](TicketRequest& r) { r.Replace("</request>", "<x/></request>"); }, "too many"},
        {"form", [](TicketRequest& r) { r.Replace("02-51", "02:51"); }, "\"mac\" has the wrong form"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.what);
        TicketRequest request;
        row.spoil(request);
        EXPECT_THAT(ComplaintAbout(request), HasSubstr(row.complaint));
    }
}

TEST(PortalSim, ScenarioLinesSetWhatTheyName) {
    Scenario scenario;
    std::string fault;
    for (const char* line : {"", "# nothing", "account 1@b \"pass word\"", "pulse-seconds 7", "no-portal",
                             "forbid-process sleep \"a sleeper\"", "option one", "option two",
                             "answer login error 105 Sub-Error=11 Last-Login=\"a b\" delay=20"}) {
        EXPECT_TRUE(ApplyLine(line, scenario, fault)) << line << ": " << fault;
    }
    EXPECT_EQ(scenario.account + "/" + scenario.password, "1@b/pass word");
    EXPECT_EQ(scenario.pulseSeconds, 7u);
    EXPECT_FALSE(scenario.portal);
    EXPECT_EQ(scenario.forbiddenProcesses["sleep"], "a sleeper");
    EXPECT_THAT(scenario.optionNotices, ElementsAre("one", "two"));
    ASSERT_EQ(scenario.script[Endpoint::Login].size(), 1u);
    const Answer& answer = scenario.script[Endpoint::Login][0];
    EXPECT_EQ(answer.code, kErrorWrongPassword);
    EXPECT_EQ(answer.headers.at("Last-Login"), "a b");
    EXPECT_EQ(answer.delay, std::chrono::milliseconds(20));
}

TEST(PortalSim, ScenarioLinesThatAreNotUnderstoodAreRefused) {
    for (const char* line :
         {"acount a b", "account a", "pulse-seconds", "pulse-seconds x", "pulse-seconds -1",
          "pulse-seconds 4294967296", "answer", "answer login", "answer nowhere drop", "answer login explode",
          "answer login error", "answer login error x", "answer login drop word", "answer login drop =x",
          "answer login drop delay=x", "answer ticket module /no/such/file"}) {
        SCOPED_TRACE(line);
        Scenario scenario;
        std::string fault;
        EXPECT_FALSE(ApplyLine(line, scenario, fault));
        EXPECT_FALSE(fault.empty());
        EXPECT_THAT(scenario.script[Endpoint::Login], IsEmpty());
    }
}

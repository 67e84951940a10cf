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

constexpr char kOtherClientId[] = "76543210-89ab-1cde-8f01-23456789abcd";

// Posts the document of the client, with `value` in the place of the header `changed`.
httplib::Result Send(const PortalSim& sim, const char* path, const std::string& document,
                     const std::string& clientId, const std::string& changed = "",
                     const std::string& value = "") {
    const std::string body = sample::FirstVersion().encode(document);
    httplib::Headers headers = {{"Connection", "close"},
                                {"User-Agent", kAgent},
                                {"Algo-ID", sample::FirstVersion().algorithmId},
                                {"Client-ID", clientId},
                                {"JVN-SchoolId", "1001"},
                                {"JVN-Domain", "campus.example"},
                                {"JVN-Area", "0571"},
                                {"JVN-Checksum", Md5Of(body)}};
    if (headers.erase(changed) != 0) {
        headers.emplace(changed, value);
    }
    return httplib::Client("127.0.0.1", sim.Port()).Post(path, headers, body, "text/plain");
}

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
    PortalSim sim;
    EXPECT_TRUE(sim.Start());
    const httplib::Result answer = Send(sim, "/ticket", document, kClientId, what, value);
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
        {"Client-ID", kOtherClientId, "99", "\"client-id\" differs"},
        {"JVN-SchoolId", "", "99", "jvn-schoolid"},
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

TEST(PortalSim, EachClientHasALoginOfItsOwn) {
    const std::string password = "<passwd>secret</passwd><userid>13800000001</userid>";
    const std::tuple<const char*, const char*, std::string, std::string, std::string, const char*> rows[] = {
        {"one logs in", "/auth", kClientId, "T-1", password, "0"},
        {"another, with the same account", "/auth", kOtherClientId, "T-2", password, "0"},
        {"the first stays", "/state", kClientId, "T-1", "", "0"},
        {"but not with the other's ticket", "/state", kClientId, "T-2", "", "300"},
        {"whose login it cannot end", "/term", kClientId, "T-2", "", "13"},
        {"as it can its own", "/term", kClientId, "T-1", "", "0"},
        {"which has ended", "/state", kClientId, "T-1", "", "300"},
        {"the other stands", "/state", kOtherClientId, "T-2", "", "0"},
    };
    PortalSim sim;
    ASSERT_TRUE(sim.Start());
    sim.KnowTicket("T-1", false);
    sim.KnowTicket("T-2", false);
    for (const auto& [what, path, client, ticket, login, code] : rows) {
        std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><request>";
        document += path == std::string("/term") ? "<reason>1</reason>" : "";
        document += "<local-time>2026-03-15 08:02:11</local-time><ticket>" + ticket + "</ticket>" + login +
                    "<client-id>" + client + "</client-id><user-agent>" + kAgent + "</user-agent></request>";
        EXPECT_EQ(Send(sim, path, document, client)->get_header_value("Error-Code"), code) << what;
    }
    EXPECT_THAT(sim.Complaints(), testing::IsEmpty());
}

#include "ServiceFixture.h"

#include <csignal>
#include <filesystem>
#include <iostream>

namespace fs = std::filesystem;

namespace {

// A log-out that is not dropped takes about two seconds. The wait grows, for after a fixed one each further
// log-out could meet an upload, too.
constexpr auto kLogoutPatience = std::chrono::milliseconds(2500);
constexpr auto kMorePatience = std::chrono::milliseconds(310);

}  // namespace

std::optional<StateReport> StateIn(const Report& message) {
    if (!message.IsState()) {
        return std::nullopt;
    }
    return StateReport{message.oldState,
                       message.newState,
                       message.errorCode,
                       message.Parameter("subErrCode"),
                       message.Parameter("subType"),
                       message.Parameter("extern"),
                       std::atoi(message.Parameter("type").c_str())};
}

ServiceTest::ServiceTest() {
    signal(SIGPIPE, SIG_IGN);  // a service that ended is found out by the failing write
    EXPECT_TRUE(portal.Start());
    WriteSettings("");
    PutModule("zxmAlogic.zxm", "sample-1.zxm");
}

void ServiceTest::SetUp() {
    const bool hasRoute = folder.Read("/proc/net/route").find("\t00000000\t") != std::string::npos;
    if (!InSandbox() && !hasRoute) {
        GTEST_SKIP() << "needs a default route, or network namespaces to make one";
    }
}

void ServiceTest::TearDown() {
    EXPECT_THAT(portal.Complaints(), testing::IsEmpty());
    EXPECT_THAT(Log(), testing::Not(testing::HasSubstr("<password>")));
    if (HasFailure()) {
        for (const Report& message : frontEnd ? frontEnd->Received() : std::vector<Report>()) {
            std::cout << message.text << "\n";
        }
        std::cout << (service ? service->Output() : "") << "\n" << Log();
    }
}

std::string ServiceTest::Log() const {
    std::string log;
    std::error_code noLog;
    for (const auto& entry : fs::directory_iterator("Log", noLog)) {
        log += folder.Read(entry.path());
    }
    return log;
}

void ServiceTest::WriteSettings(const std::string& elements) {
    folder.Write("conf/conf.xml", "<settings><version>1.0.0</version><redirect>" + portal.ProbeUrl() +
                                      "</redirect><messageEngine>" + messageEngine + "</messageEngine>" +
                                      elements + "</settings>");
}

void ServiceTest::PutModule(const std::string& name, const std::string& module) {
    fs::copy_file(fs::path(QUORVANE_MODULES) / module, fs::path(folder.Path()) / name);
}

void ServiceTest::PortalAnswers(Endpoint endpoint, const Answer& answer, int times) {
    for (; times > 0; --times) {
        portal.AnswerNext(endpoint, answer);
    }
}

void ServiceTest::StartService() {
    service = std::make_unique<ServiceProcess>();
    AttachFrontEnd();
}

void ServiceTest::AttachFrontEnd() {
    frontEnd = std::make_unique<FrontEnd>(folder.Path());
    ASSERT_TRUE(frontEnd->Connect(kSoon));
}

void ServiceTest::StartSession() {
    StartService();
    FrontEndAsks(ClientOperation::kStart);
    ExpectMessage(ClientReport::kStartComplete);
    FrontEndAsks(ClientOperation::kCheckEnvironment);
}

void ServiceTest::GetReady() {
    StartSession();
    ExpectReport(kReady);
}

void ServiceTest::LogIn() {
    GetReady();
    AskForLogin(defaults.account, defaults.password);
    ExpectReport(kConnected);
}

void ServiceTest::LogOut(const std::string& reason) {
    // One line for the baseline, a second one once it is taken and the next upload is arranged.
    const std::string line = "[CPortalServer::NetworkTraffic]";
    EXPECT_TRUE(WaitUntil(
        [&] {
            const std::string log = Log();
            return log.find(line) != log.rfind(line);
        },
        kSoon));
    // The end of an upload drops a log-out that was asked for meanwhile, so it is asked for again.
    auto patience = kLogoutPatience;
    const bool loggedOut = WaitUntil(
        [&] {
            AskForLogout(reason);
            patience += kMorePatience;
            return frontEnd->Await([](const Report& message) { return StateIn(message) == kLoggedOut; },
                                   patience);
        },
        2 * kSoon);
    EXPECT_TRUE(loggedOut) << "no report " << kLoggedOut;
}

void ServiceTest::ExpectReport(const StateReport& report) {
    EXPECT_TRUE(frontEnd->Await([&](const Report& message) { return StateIn(message) == report; }, kSoon))
        << "no report " << report;
}

Report ServiceTest::ExpectMessage(const char* operation) {
    const bool came = frontEnd->AwaitOpcode(operation, kSoon);
    EXPECT_TRUE(came) << "no message " << operation;
    return came ? frontEnd->Received().back() : Report("");
}

Request ServiceTest::ExpectRequest(Endpoint endpoint, size_t count) {
    auto request = portal.WaitForRequest(endpoint, count, kSoon);
    EXPECT_TRUE(request) << "no " << portal_sim::RowOf(endpoint).name << " request number " << count;
    return request.value_or(Request());
}

void ServiceTest::ExpectOutput(const std::string& text) {
    EXPECT_TRUE(WaitUntil([&] { return service->Output().find(text) != std::string::npos; }, kSoon))
        << "never printed: " << text;
}

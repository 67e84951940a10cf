// What is seeded is found and named; whatever happens, nothing is touched and ten seconds are enough.
#include "doctor/Doctor.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

#include "Deployment.h"
#include "LocalHttpServer.h"
#include "PortalSim.h"
#include "RunProgram.h"
#include "Sandbox.h"
#include "ServiceProcess.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"
#include "doctor/Findings.h"

using portal_sim::Endpoint;
using testing::HasSubstr;

namespace {

constexpr CheckResult kGood = CheckResult::kGood;
constexpr CheckResult kFault = CheckResult::kFault;
constexpr CheckResult kSkipped = CheckResult::kSkipped;
constexpr CheckResult kWarning = CheckResult::kWarning;
constexpr char kListing[] = "find . -printf '%p %C@ %s\\n'";  // each file with its time of change and size
const std::vector<std::string> kNames = {"route",         "adapter", "probe",  "hops",     "marker",
                                         "configuration", "module",  "folder", "settings", "resolver",
                                         "process",       "fifos",   "agent",  "clock"};

// A folder with a running service, and a portal that it could log in to.
struct Campus {
    Campus() {
        setenv("TMPDIR", scratch.Path().c_str(), 1);
        setenv("PEER", "nsenter --net=$QUORVANE_SANDBOX_PEER", 1);
        EXPECT_TRUE(portal.Start());
        folder.Write("conf/conf.xml", "<a><version>1.0.0</version><redirect></redirect></a>");
        Probe(portal.ProbeUrl());
        Run("chmod 777 " + scratch.Path() + "; cp " QUORVANE_MODULES "/sample-1.zxm zxmAlogic.zxm");
        service = std::make_unique<ServiceProcess>();
        EXPECT_TRUE(WaitUntil([&] { return folder.Has("serverpipe"); }));
    }
    ~Campus() {
        unsetenv("TMPDIR");
        Shell("umount -l $PWD; eval $PEER ip link set portal0 up");
        folder.Write("/etc/resolv.conf", "nameserver 192.0.2.1\n");
        RestoreLinks();
    }

    // What can be seeded.
    void Run(const std::string& commands) { EXPECT_TRUE(Shell(commands)); }
    void Probe(const std::string& address) {
        Run("sed -i 's|<redirect>.*</redirect>|<redirect>" + address + "</redirect>|' conf/conf.xml");
    }
    void Marker(const std::string& host) {
        portal.Change([&](auto& scenario) { scenario.markerHost = host; });
        Run("sed -i 's|</a>|<markerHost>" + host + "</markerHost></a>|' conf/conf.xml");
    }
    void Become(const std::string& commands) { Run(commands), user = 65534; }
    void Online(const std::string& address) { Probe(address), agent = R"({"state":"online"})"; }
    void Agent(const std::string& status) { agent = status; }
    void Page(const std::string& page) { Serve(HttpAnswer("200 OK", "", page)); }
    void Portal(const std::string& line) {
        std::string fault;
        portal.Change([&](auto& scenario) { EXPECT_TRUE(ApplyLine(line, scenario, fault)) << fault; });
    }
    void EndService(const std::string& pid) {
        service.reset();
        Run("tr -d '\\n' <conf/conf.xml | sed 's|<PID>.*</PID>|<PID>" + pid +
            "</PID>|' >new; cp new conf/conf.xml");
    }
    // After half an answer come single bytes, after none nothing.
    void Serve(const std::string& answer) {
        server = std::make_unique<LocalHttpServer>([answer](int socket) {
            LocalHttpServer::Send(socket, answer);
            for (int i = 0; answer.find("Length") == std::string::npos && i < 55; ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                LocalHttpServer::Send(socket, answer.substr(0, 1));
            }
        });
        Probe(server->Url("/"));
    }

    // Within the bound, with nothing changed, posted or left behind, and nothing that a terminal would obey.
    Diagnosis Look() const {
        std::string before, after;
        EXPECT_EQ(RunProgram(kListing, before), 0);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(seteuid(user), 0);
        Diagnosis diagnosis = Diagnose({folder.Path(), agent});
        EXPECT_EQ(seteuid(0), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
        EXPECT_EQ(RunProgram(kListing, after), 0);
        EXPECT_EQ(after, before);
        EXPECT_TRUE(std::filesystem::is_empty(scratch.Path()));
        EXPECT_TRUE(portal.Requests(Endpoint::Ticket).empty() && portal.Requests(Endpoint::State).empty());
        EXPECT_EQ(DiagnosisAsJson(diagnosis).find("\\u00"), std::string::npos);
        return diagnosis;
    }

    TemporaryFolder scratch;  // for the doctor
    TemporaryFolder folder;
    portal_sim::PortalSim portal;
    std::unique_ptr<LocalHttpServer> server;
    std::unique_ptr<ServiceProcess> service;
    std::string agent = R"({"state":"logging-in","account":"1","wanted":true})";
    uid_t user = 0;
};

struct Story {
    void (Campus::*seed)(const std::string& value);
    std::string value;
    const char* check;
    CheckResult result;
    const char* text;  // in the text of the check
};

#define MARKER "//" QUORVANE_MARKER_HOST
#define PACK ZXMPACK " pack --key-id KEY --algorithm-id id " QUORVANE_MODULES "/"

// clang-format off
const Story kStories[] = {
    {&Campus::Run, "true", "hops", kGood, "/index.cgi?wlanuserip=10.8.0.2"},
    {&Campus::Online, "http://127.0.0.1:1/", "hops", kGood, "127.0.0.1:1/ no answer"},
    {&Campus::Page, "<html>an open network</html>", "marker", kGood, "the network is open"},
    {&Campus::Run, "echo '# resolvconf' >>/etc/resolv.conf", "resolver", kGood, "no sign"},
    {&Campus::Run, "ip route del default", "route", kFault, "no default route"},
    {&Campus::Run, "ip route replace default dev campus0", "route", kFault, "no gateway: default dev"},
    {&Campus::Run, "ip route add default via 192.0.2.7 metric 9", "route", kWarning, "via 192.0.2.7"},
    {&Campus::Run, "eval $PEER ip link set portal0 down", "adapter", kFault, "no link"},
    {&Campus::Run, "ip a flush campus0; ip r add default via 192.0.2.1 dev campus0 onlink", "adapter", kFault, "no address"},
    {&Campus::Probe, "ftp://probe.example/", "probe", kFault, "ftp://probe.example/"},
    {&Campus::Serve, "", "hops", kFault, "not answer in time"},
    {&Campus::Serve, "HTTP/1.1 200 OK\r\n\r\n", "hops", kFault, "not answer in time"},
    {&Campus::Portal, "endless-redirect", "hops", kFault, "does not end"},
    {&Campus::Page, std::string(5 << 20, 'x'), "hops", kFault, "too large"},
    {&Campus::Portal, "answer gate status 503", "hops", kFault, "status 503 from http"},
    {&Campus::Portal, "answer page page", "marker", kFault, "holds no configuration"},
    {&Campus::Page, "<!--//\033[2J\xc2\x9bother<config/>", "marker", kFault, "other instead of"},
    {&Campus::Marker, "login.campus.example", "marker", kGood, "login.campus.example, "},
    {&Campus::Page, "<!--" MARKER "<config/>" MARKER "-->", "configuration", kFault, "address for tickets"},
    {&Campus::Run, "rm zxmAlogic.zxm", "module", kWarning, "no algorithm module yet"},
    {&Campus::Run, "mount --bind $PWD $PWD && mount -o remount,bind,ro $PWD", "folder", kFault, "read-only"},
    {&Campus::Run, "mount --bind $PWD $PWD && mount -o remount,bind,noexec $PWD", "folder", kFault, "noexec"},
    {&Campus::Run, "rm conf/conf.xml; mkfifo conf/conf.xml", "settings", kFault, "broken"},
    {&Campus::Run, "sed -i 's|>1[.]0[.]0<|><|' conf/conf.xml", "settings", kWarning, "no version"},
    {&Campus::Run, "echo '#dhcpcd' >>/etc/resolv.conf; touch resolver.former", "resolver", kWarning, "mark"},
    {&Campus::EndService, "", "process", kFault, "no service runs"},
    {&Campus::EndService, std::to_string(getpid()), "process", kFault, "is DoctorTest"},
    {&Campus::Run, "touch clientpipe", "fifos", kFault, "place of a FIFO: clientpipe"},
    {&Campus::Agent, "", "agent", kWarning, "no agent answers"},
    {&Campus::Agent, R"({"state":"refused","last":{"code":7,"text":"bad"}})", "agent", kFault, "bad (7)"},
    {&Campus::Agent, R"({"state":"offline","account":"1","wanted":false})", "agent", kWarning, "nobody wants"},
    {&Campus::Portal, "answer probe usual Date=\"Sun, 15 Mar 2020 08:00 GMT\"", "clock", kWarning, "ahead"},
    // These five need other users.
    {&Campus::Run, "truncate -s 900 zxmAlogic.zxm", "module", kFault, "damaged"},
    {&Campus::Run, PACK "crashing-module.so zxmAlogic.zxm", "module", kFault, "Aborted"},
    {&Campus::Run, PACK "hanging-module.so zxmAlogic.zxm; chown 7 zxmAlogic.zxm", "module", kFault, "hangs"},
    {&Campus::Become, "true", "folder", kWarning, "by you: conf/conf.xml, zxmAlogic.zxm"},
    {&Campus::Become, "chmod 711 . conf; chmod 644 *.zxm conf/*; chown 7777 *.zxm", "module", kSkipped, "user, 7777"},
};
// clang-format on
const Story* const kWithUsers = std::end(kStories) - 5;

}  // namespace

TEST(Doctor, NamesWhatIsSeededAndNothingElse) {
    SKIP_OUTSIDE_SANDBOX();
    for (const Story& story : kStories) {
        SCOPED_TRACE(story.value.substr(0, 80));
        Campus campus;
        (campus.*story.seed)(story.value);
        if (&story >= kWithUsers && (seteuid(65534) != 0 || seteuid(0) != 0)) {
            GTEST_SKIP() << "an ordinary user's sandbox has no other users for the last stories";
        }
        const Diagnosis diagnosis = campus.Look();
        for (size_t i = 0; i < kNames.size(); ++i) {
            const Check& check = diagnosis.checks.at(i);
            EXPECT_EQ(check.name, kNames[i]);
            const bool isSeeded = kNames[i] == story.check;
            EXPECT_TRUE(isSeeded ? check.result == story.result
                                 : check.result == kGood || check.result == kSkipped)
                << DiagnosisAsWords(diagnosis, false);
            EXPECT_THAT(check.text, HasSubstr(isSeeded ? story.text : ""));
        }
        const bool isFinding = story.result == kWarning || story.result == kFault;
        EXPECT_EQ(diagnosis.Findings(), isFinding ? 1 : 0);
        EXPECT_THAT(diagnosis.advice, testing::StartsWith(isFinding ? story.check : "Nothing"));
    }
}

TEST(Doctor, EachFindingHasItsEntryInTheDocument) {
    const std::string document = TemporaryFolder().Read(TROUBLES_DOCUMENT);
    for (const FindingRow& row : kFindings) {
        EXPECT_THAT(document, HasSubstr(*row.what == '\0' ? "# " : std::string("\n### ") + row.what + "\n"));
    }
}

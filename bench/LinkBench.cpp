// An envelope in and a report out over the two FIFOs: through the service's message server and a business
// that answers, through a thread that does nothing but read and write as many bytes, and through two such
// threads with a queue between them.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "Business.h"
#include "ClientOperations.h"
#include "FileUtil.h"
#include "Server.h"
#include "TemporaryFolder.h"

namespace {

constexpr char kIncoming[] = "clientpipe";
constexpr char kOutgoing[] = "serverpipe";
constexpr char kFrontEnd[] = "client";

// What every state report holds.
constexpr char kReport[] =
    "<type>1</type><oldState>1</oldState><newState>2</newState><ErrorCode>0</ErrorCode><subErrCode></"
    "subErrCode>"
    "<subType></subType><extern></extern>";
// Its login is the one envelope that the service does not log, which the bare side does not either.
constexpr char kEnvelope[] =
    "<M><OpS>client</OpS><OpT>Portal</OpT><OpC>PortalConnect</OpC><P><user>13800000001</user>"
    "<password>bench-secret</password></P></M>";

[[noreturn]] void Stop(const char* what) {
    perror(what);
    exit(EXIT_FAILURE);
}

std::string ReportText() {
    CAutoString text;
    text.Format(kEnvelopeFormat, kPortalBusiness, kFrontEnd, ClientReport::kNetState, kReport);
    return text.GetText();
}

class AnsweringBusiness : public CBusiness {
  private:
    void InitOpcodeFun() override {
        m_OpcodeMap[ClientOperation::kConnect] = static_cast<OpcodeFun>(&AnsweringBusiness::Answer);
    }
    void Answer(const char* source, CXMLOpt& /*document*/) {
        PostMsg(kPortalBusiness, source, ClientReport::kNetState, kReport);
    }
};

void ServeOwn() {
    auto& business = *new AnsweringBusiness;  // both stay: their thread still runs when the process ends
    auto& server = *new CServer;
    CMsgEngine::SetWaiting(true);  // as the installed settings have it
    business.InitService(&server);
    server.RegisterBusiness(kPortalBusiness, &business);
    (void)server.CreateServer(kOutgoing);
    if (server.ConnectToServer(kIncoming) != 0) {
        Stop(kOutgoing);
    }
    (void)server.DoWork();
}

// Calls `take` with each text that is read, as long as somebody writes.
template <typename Take>
void ReadBare(Take take) {
    const Descriptor incoming(open(kIncoming, O_RDONLY | O_CLOEXEC));
    char envelope[PIPE_BUF];
    while (read(incoming.Get(), envelope, sizeof(envelope)) > 0) {
        take(envelope);
    }
}

void WriteBare(int outgoing, const std::string& report) {
    if (write(outgoing, report.c_str(), report.size() + 1) < 0) {
        Stop(kOutgoing);
    }
}

void ServeBare() {
    const std::string report = ReportText();
    const Descriptor outgoing(open(kOutgoing, O_WRONLY | O_CLOEXEC));
    ReadBare([&](const char* /*envelope*/) { WriteBare(outgoing.Get(), report); });
}

// The reading thread hands each text to another one, which answers: the least that a queue of messages costs.
void ServeBareByQueue() {
    std::mutex lock;
    std::condition_variable changed;
    std::deque<std::string> queue;
    const Descriptor outgoing(open(kOutgoing, O_WRONLY | O_CLOEXEC));
    std::thread([&, report = ReportText()] {
        for (;;) {
            std::unique_lock<std::mutex> guard(lock);
            changed.wait(guard, [&queue] { return !queue.empty(); });
            queue.pop_front();
            guard.unlock();
            WriteBare(outgoing.Get(), report);
        }
    }).detach();
    ReadBare([&](const char* envelope) {
        const std::lock_guard<std::mutex> guard(lock);
        queue.emplace_back(envelope);
        changed.notify_one();
    });
}

// The front end of a service that runs as long as the process does: nothing ends a message server.
class FrontEnd {
  public:
    explicit FrontEnd(void (*serve)()) {
        if (mkfifo(kIncoming, S_IRWXU) != 0 || mkfifo(kOutgoing, S_IRWXU) != 0) {
            Stop(kIncoming);
        }
        std::thread(serve).detach();
        m_reports = open(kOutgoing, O_RDONLY | O_CLOEXEC);
        m_envelopes = open(kIncoming, O_WRONLY | O_CLOEXEC);
    }

    void Exchange() const {
        char report[PIPE_BUF];
        if (write(m_envelopes, kEnvelope, sizeof(kEnvelope)) != sizeof(kEnvelope) ||
            read(m_reports, report, sizeof(report)) <= 0) {
            Stop(kIncoming);
        }
        benchmark::DoNotOptimize(report);
    }

  private:
    int m_reports;
    int m_envelopes;
};

template <void (*Serve)()>
void LinkExchange(benchmark::State& state) {
    static const FrontEnd& frontEnd = []() -> const FrontEnd& {
        const TemporaryFolder folder;  // what is open stays open without it
        return *new FrontEnd(Serve);
    }();
    for (auto _ : state) {
        frontEnd.Exchange();
    }
}
BENCHMARK_TEMPLATE(LinkExchange, ServeOwn)->Name("LinkExchange<Own>")->UseRealTime();
BENCHMARK_TEMPLATE(LinkExchange, ServeBare)->Name("LinkExchange<Bare>")->UseRealTime();
BENCHMARK_TEMPLATE(LinkExchange, ServeBareByQueue)->Name("LinkExchange<BareQueue>")->UseRealTime();

}  // namespace

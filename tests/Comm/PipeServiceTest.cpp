#include "PipeService.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "Recorder.h"
#include "RefusedThreads.h"
#include "TemporaryFolder.h"
#include "guard.h"

using testing::AllOf;
using testing::Ge;
using testing::Lt;
using Texts = std::vector<std::string>;

namespace {

const std::string kNul(1, '\0');

class Callback : public IPipeCallback {
  public:
    void DoWorkOnPipe(CAutoString text) override {
        const std::lock_guard<std::mutex> guard(gate);
        received.Add(text.GetText());
    }

    std::mutex gate;  // held by a test, it keeps the handler from ending
    Recorder received;
};

class Service : public CPipeService {
  public:
    // A folder can be opened like a FIFO, but every read of it fails.
    void MakeReadsFail() {
        const int folder = open(".", O_RDONLY);
        dup2(folder, m_fdClient);
        close(folder);
    }
    int Threads() {
        CLockGuard<GLockObj> guard(m_msgLock);
        return m_threadCount;
    }
};

// The service, with each kind of message engine, in its working folder with a front end that holds the other
// ends of both FIFOs.
class PipeService : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        CMsgEngine::SetWaiting(GetParam());
        ASSERT_EQ(0, m_service.CreateNamedPipeInServer("serverpipe", &m_callback));
        std::thread frontEnd([this] {
            m_fromService = open("serverpipe", O_RDONLY);
            EXPECT_EQ(0, mkfifo("clientpipe", 0600));  // the service may have to look for it twice
            m_toService = open("clientpipe", O_WRONLY);
        });
        ASSERT_EQ(0, m_service.OpenNamePipeServer("clientpipe"));
        frontEnd.join();
        m_loop = std::async(std::launch::async, [this] { return m_service.LoopMsg(); });
    }

    void TearDown() override {
        m_service.MakeReadsFail();
        (void)!write(m_toService, "x", 1);  // wakes a read that is waiting; if none is, this fails
        EXPECT_EQ(-1, m_loop.get());
        close(m_toService);
        close(m_fromService);
    }

    static size_t Unread(int fifo) {
        int count = 0;
        EXPECT_EQ(0, ioctl(fifo, FIONREAD, &count));
        return static_cast<size_t>(count);
    }

    void FrontEndWrites(const std::string& bytes) {
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(m_toService, bytes.data(), bytes.size()));
        ASSERT_TRUE(WaitUntil([&] { return Unread(m_toService) == 0; }));
    }

    std::string FrontEndReads(size_t length) {
        std::string bytes(length, '\0');
        size_t count = 0;
        for (ssize_t more = 1; more > 0 && count < length; count += static_cast<size_t>(more)) {
            more = std::max<ssize_t>(read(m_fromService, &bytes[count], length - count), 0);
        }
        return bytes;
    }

    TemporaryFolder m_folder;
    Callback m_callback;
    Service m_service;
    int m_fromService = -1;
    int m_toService = -1;
    std::future<int> m_loop;
};
INSTANTIATE_TEST_SUITE_P(Waiting, PipeService, testing::Bool());

}  // namespace

TEST_P(PipeService, DeliversWholeMessagesOfEachRead) {
    const std::string longest(4095, 'm');
    const std::tuple<const char*, Texts, Texts> rows[] = {
        {"two in one read", {"one" + kNul + "two" + kNul}, {"one", "two"}},
        {"the end of a read is lost",
         {"one" + kNul + "tw", "o" + kNul + "three" + kNul},
         {"one", "o", "three"}},
        {"a lone NUL", {kNul}, {""}},
        {"the longest message", {longest + kNul}, {longest}},
        {"a full read without a NUL", {longest + "m", "next" + kNul}, {"next"}},
    };
    Texts expected;
    for (const auto& [what, writes, messages] : rows) {
        SCOPED_TRACE(what);
        for (const std::string& bytes : writes) {
            FrontEndWrites(bytes);
        }
        expected.insert(expected.end(), messages.begin(), messages.end());
        ASSERT_TRUE(m_callback.received.Await(expected.size()));
        EXPECT_EQ(m_callback.received.All(), expected);
    }
    m_service.StartMsgEngine();
    EXPECT_EQ(m_service.Threads(), 1) << "two would mix up the order";
}

// Nothing that a front end sent was handled when the thread was refused at the start.
TEST_P(PipeService, AnEngineWaitsForAsLongAsTheMachineRefusesThreads) {
    FrontEndWrites("one" + kNul);
    ASSERT_TRUE(m_callback.received.Await(1));
    m_service.StopMsgEngine();
    ASSERT_TRUE(WaitUntil([&] { return m_service.Threads() == 0; }));
    m_service.AddMessage("kept");
    const RefusedThreads refused([&] { return m_service.Threads() == 1; });
    m_service.StartMsgEngine();
    FrontEndWrites("two" + kNul);
    ASSERT_TRUE(m_callback.received.Await(3));
    EXPECT_EQ(m_callback.received.All(), (Texts{"one", "kept", "two"}));
}

TEST_P(PipeService, AFloodHasToWaitForItsHandler) {
    std::unique_lock<std::mutex> handler(m_callback.gate);
    auto flood = std::async(std::launch::async, [this] {
        for (int message = 0; message < 10000; ++message) {
            EXPECT_EQ(16, write(m_toService, "<M>flooding</M>", 16));
        }
    });
    int looks = 0;  // in a row at a full FIFO: it is full for a moment in any case
    EXPECT_TRUE(WaitUntil([&] { return (looks = Unread(m_toService) > (60 << 10) ? looks + 1 : 0) == 50; }))
        << "the service hoards what it is sent";
    handler.unlock();
    flood.get();
    EXPECT_TRUE(WaitUntil([&] { return Unread(m_toService) == 0; }));
}

TEST_P(PipeService, MessagesOfManyThreadsStayWhole) {
    constexpr size_t kMessages = 50;
    const std::string text(20000, 'w');  // more than one write keeps together
    std::vector<std::future<void>> writers;
    for (size_t i = 0; i < 4; ++i) {
        writers.push_back(std::async(std::launch::async, [&] {
            for (size_t message = 0; message < kMessages; ++message) {
                EXPECT_EQ(1, m_service.WritePipe(text.c_str()));
            }
        }));
    }
    for (size_t message = 0; message < writers.size() * kMessages; ++message) {
        ASSERT_EQ(FrontEndReads(text.size() + 1), text + '\0');
    }
}

TEST_P(PipeService, AFrontEndThatDoesNotReadCostsOneWait) {
    const std::string large(100 << 10, 'l');  // more than the FIFO holds
    const auto writeLarge = [&] { return m_service.WritePipe(large.c_str()); };
    const auto start = std::chrono::steady_clock::now();
    testing::internal::CaptureStdout();
    std::future<int> writers[] = {std::async(std::launch::async, writeLarge),
                                  std::async(std::launch::async, writeLarge)};
    EXPECT_EQ(0, writers[0].get() + writers[1].get() + m_service.WritePipe("small"));
    EXPECT_THAT(std::chrono::steady_clock::now() - start,
                AllOf(Ge(std::chrono::seconds(1)), Lt(std::chrono::milliseconds(1900))));
    std::string torn = FrontEndReads(10000);
    EXPECT_EQ(0, writeLarge()) << "would be torn as well";
    EXPECT_NE("", testing::internal::GetCapturedStdout());
    torn += FrontEndReads(Unread(m_fromService));
    EXPECT_EQ(torn, large.substr(0, torn.size()));
    auto reader = std::async(std::launch::async, [&] { return FrontEndReads(1 + large.size() + 1); });
    EXPECT_EQ(1, writeLarge()) << "waits again for a front end that reads again";
    EXPECT_EQ(reader.get(), kNul + large + kNul);
}

TEST_P(PipeService, AWriteWithoutAFrontEndIsReportedAndTheServiceLivesOn) {
    close(m_fromService);
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, m_service.WritePipe("lost %s\x1b[2J\n\xc2\x9b\xe2\x80\xae\xe2\x81\xa6\xe2\x80\xa7"));
    EXPECT_EQ("write error=Broken pipe:lost %s?[2J????\xe2\x80\xa7\n",
              testing::internal::GetCapturedStdout());
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, m_service.WritePipe(std::string(100000, 'x').c_str()));
    EXPECT_LT(testing::internal::GetCapturedStdout().size(), 5000u);
    m_fromService = open("serverpipe", O_RDONLY);
    EXPECT_EQ(1, m_service.WritePipe("found"));
    EXPECT_EQ(FrontEndReads(6), std::string("found\0", 6));
}

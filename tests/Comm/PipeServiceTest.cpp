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
#include "TemporaryFolder.h"

namespace {

class Callback : public IPipeCallback {
  public:
    void DoWorkOnPipe(CAutoString text) override { received.Add(text.GetText()); }

    Recorder received;
};

class Service : public CPipeService {
  public:
    bool HandsItsPipesToCommands() const {
        return (fcntl(m_fdServer, F_GETFD) & fcntl(m_fdClient, F_GETFD) & FD_CLOEXEC) == 0;
    }
    // A folder can be opened like a FIFO, but every read of it fails.
    void MakeReadsFail() {
        const int folder = open(".", O_RDONLY);
        dup2(folder, m_fdClient);
        close(folder);
    }
};

// The service in its working folder with a front end that holds the other ends of both FIFOs.
class PipeService : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, m_service.CreateNamedPipeInServer("serverpipe", &m_callback));
        ASSERT_EQ(0, mkfifo("clientpipe", 0600));
        std::thread frontEnd([this] {
            m_fromService = open("serverpipe", O_RDONLY);
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

    void FrontEndWrites(const std::string& bytes) {
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(m_toService, bytes.data(), bytes.size()));
        int waiting = 1;
        ASSERT_TRUE(WaitUntil([&] { return ioctl(m_toService, FIONREAD, &waiting) == 0 && waiting == 0; }));
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

}  // namespace

TEST_F(PipeService, DeliversWholeMessagesOfEachRead) {
    using Texts = std::vector<std::string>;
    const std::string nul(1, '\0');
    const std::string longest(4095, 'm');
    const std::tuple<const char*, Texts, Texts> rows[] = {
        {"two in one read", {"one" + nul + "two" + nul}, {"one", "two"}},
        {"the end of a read is lost", {"one" + nul + "tw", "o" + nul + "three" + nul}, {"one", "o", "three"}},
        {"a lone NUL", {nul}, {""}},
        {"the longest message", {longest + nul}, {longest}},
        {"a full read without a NUL", {longest + "m", "next" + nul}, {"next"}},
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
}

TEST_F(PipeService, WaitsForTheNextFrontEnd) {
    close(m_toService);
    EXPECT_EQ(std::future_status::timeout, m_loop.wait_for(std::chrono::milliseconds(200)));
    m_toService = open("clientpipe", O_WRONLY);
    FrontEndWrites(std::string("again\0", 6));
    EXPECT_TRUE(m_callback.received.Await(1));
}

TEST_F(PipeService, MessagesOfManyThreadsStayWhole) {
    EXPECT_FALSE(m_service.HandsItsPipesToCommands());
    constexpr size_t kMessages = 50;
    const std::string text(2000, 'w');
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

TEST_F(PipeService, AWriteWithoutAFrontEndIsReportedAndTheServiceLivesOn) {
    close(m_fromService);
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, m_service.WritePipe("lost %s"));
    EXPECT_EQ("write error=Broken pipe:lost %s\n", testing::internal::GetCapturedStdout());
    m_fromService = open("serverpipe", O_RDONLY);
    EXPECT_EQ(1, m_service.WritePipe("found"));
    EXPECT_EQ(FrontEndReads(6), std::string("found\0", 6));
}

TEST(PipeServiceLink, BothSidesMeetWhoeverComesFirst) {
    TemporaryFolder folder;
    CPipeService service;
    CPipeService frontEnd;
    ASSERT_EQ(0, service.CreateNamedPipeInServer("serverpipe", nullptr));
    auto opened = std::async(std::launch::async, [&] { return service.OpenNamePipeServer("clientpipe"); });
    EXPECT_EQ(0, service.WritePipe("unheard")) << "a message before the link is open is dropped";
    // The service opens "clientpipe" once "serverpipe" has a reader; it finds none at first and tries again.
    const int early = open("serverpipe", O_RDONLY);
    ASSERT_EQ(0, frontEnd.CreateNamedPipeInServer("clientpipe", nullptr));
    EXPECT_EQ(0, frontEnd.OpenNamePipeClient("serverpipe"));
    EXPECT_EQ(0, opened.get());
    close(early);
    EXPECT_EQ(1, frontEnd.WritePipe("to the service"));
    EXPECT_EQ(1, service.WritePipe("to the front end"));
}

TEST(PipeServiceLink, RemovesItsFifoAndNothingElse) {
    TemporaryFolder folder;
    folder.Write("left", "from an earlier run");
    {
        CPipeService fresh;
        EXPECT_EQ(0, fresh.CreateNamedPipeInServer("serverpipe", nullptr));
        CPipeService reused;
        EXPECT_EQ(-1, reused.CreateNamedPipeInServer("left", nullptr));
        EXPECT_EQ(-1, CPipeService().OpenNamePipeServer("clientpipe"));
        EXPECT_EQ(-1, CPipeService().LoopMsg());
        EXPECT_TRUE(folder.Has("left"));
    }
    EXPECT_FALSE(folder.Has("serverpipe"));
    EXPECT_FALSE(folder.Has("left"));
    EXPECT_NE(-1, fcntl(STDIN_FILENO, F_GETFD)) << "closed a descriptor that it never opened";
}

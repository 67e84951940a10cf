#include "PipeService.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <future>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TemporaryFolder.h"
#include "WaitUntil.h"
#include "guard.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

class Callback : public IPipeCallback {
  public:
    void DoWorkOnPipe(CAutoString text) override {
        CLockGuard<GLockObj> guard(m_lock);
        m_received.push_back(text.GetText());
    }
    std::vector<std::string> Received() {
        CLockGuard<GLockObj> guard(m_lock);
        return m_received;
    }
    bool Await(size_t count) {
        return WaitUntil([&] { return Received().size() >= count; });
    }

  private:
    MutexLock m_lock;
    std::vector<std::string> m_received;
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
class PipeServiceTest : public testing::Test {
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

    // What the front end reads up to the `count`th NUL.
    std::vector<std::string> FrontEndReads(size_t count) {
        std::vector<std::string> texts(1);
        char byte = 0;
        while (texts.size() <= count && read(m_fromService, &byte, 1) == 1) {
            if (byte == '\0') {
                texts.emplace_back();
            } else {
                texts.back().push_back(byte);
            }
        }
        texts.pop_back();
        return texts;
    }

    TemporaryFolder m_folder;
    Callback m_callback;
    Service m_service;
    int m_fromService = -1;
    int m_toService = -1;
    std::future<int> m_loop;
};

std::string Bytes(std::initializer_list<const char*> texts) {
    std::string bytes;
    for (const char* text : texts) {
        bytes.append(text).push_back('\0');
    }
    return bytes;
}

}  // namespace

TEST_F(PipeServiceTest, DeliversWholeMessagesOfEachRead) {
    const std::string longest(4095, 'm');
    const struct {
        const char* what;
        std::vector<std::string> writes;
        std::vector<std::string> expected;
    } rows[] = {
        {"one", {Bytes({"<M/>"})}, {"<M/>"}},
        {"two in one read", {Bytes({"one", "two"})}, {"one", "two"}},
        {"the end of a read is lost", {Bytes({"one"}) + "tw", Bytes({"o", "three"})}, {"one", "o", "three"}},
        {"a lone NUL", {Bytes({""})}, {""}},
        {"the longest message", {Bytes({longest.c_str()})}, {longest}},
        {"a full read without a NUL", {longest + "m", Bytes({"next"})}, {"next"}},
    };
    size_t seen = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        for (const std::string& bytes : row.writes) {
            FrontEndWrites(bytes);
        }
        ASSERT_TRUE(m_callback.Await(seen + row.expected.size()));
        auto received = m_callback.Received();
        received.erase(received.begin(), received.begin() + static_cast<std::ptrdiff_t>(seen));
        EXPECT_THAT(received, ElementsAreArray(row.expected));
        seen += row.expected.size();
    }
}

TEST_F(PipeServiceTest, WaitsForTheNextFrontEnd) {
    close(m_toService);
    EXPECT_EQ(std::future_status::timeout, m_loop.wait_for(std::chrono::milliseconds(200)));
    m_toService = open("clientpipe", O_WRONLY);
    FrontEndWrites(Bytes({"again"}));
    EXPECT_TRUE(m_callback.Await(1));
}

TEST_F(PipeServiceTest, MessagesOfManyThreadsStayWhole) {
    constexpr size_t kWriters = 4;
    constexpr size_t kMessages = 50;
    const std::string text(2000, 'w');
    std::vector<std::thread> writers;
    for (size_t i = 0; i < kWriters; ++i) {
        writers.emplace_back([&] {
            for (size_t message = 0; message < kMessages; ++message) {
                EXPECT_EQ(1, m_service.WritePipe(text.c_str()));
            }
        });
    }
    EXPECT_THAT(FrontEndReads(kWriters * kMessages), testing::Each(text));
    for (std::thread& writer : writers) {
        writer.join();
    }
}

TEST_F(PipeServiceTest, AWriteWithoutAFrontEndIsReportedAndTheServiceLivesOn) {
    close(m_fromService);
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, m_service.WritePipe("lost %s"));
    EXPECT_EQ("write error=Broken pipe:lost %s\n", testing::internal::GetCapturedStdout());
    m_fromService = open("serverpipe", O_RDONLY);
    EXPECT_EQ(1, m_service.WritePipe("found"));
    EXPECT_THAT(FrontEndReads(1), ElementsAre("found"));
}

TEST_F(PipeServiceTest, CommandsDoNotInheritThePipes) {
    EXPECT_FALSE(m_service.HandsItsPipesToCommands());
}

TEST(PipeService, BothSidesMeetWhoeverComesFirst) {
    TemporaryFolder folder;
    Callback heard;
    CPipeService service;
    CPipeService frontEnd;
    ASSERT_EQ(0, service.CreateNamedPipeInServer("serverpipe", nullptr));
    auto opened = std::async(std::launch::async, [&] { return service.OpenNamePipeServer("clientpipe"); });
    EXPECT_EQ(0, service.WritePipe("unheard")) << "a message before the link is open is dropped";
    // The service opens "clientpipe" once "serverpipe" has a reader; it finds none at first and tries again.
    const int early = open("serverpipe", O_RDONLY);
    ASSERT_EQ(0, frontEnd.CreateNamedPipeInServer("clientpipe", &heard));
    EXPECT_EQ(0, frontEnd.OpenNamePipeClient("serverpipe"));
    EXPECT_EQ(0, opened.get());
    close(early);
    EXPECT_EQ(1, frontEnd.WritePipe("to the service"));
    EXPECT_EQ(1, service.WritePipe("to the front end"));
}

TEST(PipeService, RemovesItsFifoAndNothingElse) {
    TemporaryFolder folder;
    folder.Write("left", "from an earlier run");
    {
        CPipeService fresh;
        EXPECT_EQ(0, fresh.CreateNamedPipeInServer("serverpipe", nullptr));
        CPipeService reused;
        EXPECT_EQ(-1, reused.CreateNamedPipeInServer("left", nullptr));
        CPipeService unused;
        EXPECT_EQ(-1, unused.OpenNamePipeServer("clientpipe"));
        EXPECT_EQ(-1, unused.LoopMsg());
        EXPECT_TRUE(folder.Has("left"));
    }
    EXPECT_FALSE(folder.Has("serverpipe"));
    EXPECT_FALSE(folder.Has("left"));
    EXPECT_NE(-1, fcntl(STDIN_FILENO, F_GETFD)) << "closed a descriptor that it never opened";
}

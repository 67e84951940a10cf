#include "MsgEngine.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "WaitUntil.h"
#include "guard.h"

using testing::ElementsAre;

namespace {

// Keeps what it handles; "stop" makes it stop its own engine.
class Recorder : public CMsgEngine {
  public:
    ~Recorder() override { WaitMsgEngineEnd(); }

    void DoMessage(CAutoString message) override {
        CLockGuard<GLockObj> guard(m_lock);
        m_handled.push_back(message.GetText());
        if (message == "stop") {
            StopMsgEngine();
        }
    }

    std::vector<std::string> Handled() {
        CLockGuard<GLockObj> guard(m_lock);
        return m_handled;
    }
    bool AwaitHandled(size_t count) {
        return WaitUntil([&] { return Handled().size() >= count; });
    }
    int Threads() {
        CLockGuard<GLockObj> guard(m_msgLock);
        return m_threadCount;
    }

  private:
    MutexLock m_lock;
    std::vector<std::string> m_handled;
};

}  // namespace

TEST(MsgEngine, DeliversInOrderWhatWasAddedBeforeAndAfterTheStart) {
    Recorder engine;
    engine.AddMessage("first");
    engine.AddMessage("");
    engine.StartMsgEngine();
    engine.AddMessage("third");
    ASSERT_TRUE(engine.AwaitHandled(3));
    EXPECT_THAT(engine.Handled(), ElementsAre("first", "", "third"));
}

TEST(MsgEngine, MessagesBehindAStopAreHandledAfterTheNextStart) {
    Recorder engine;
    for (const char* message : {"before", "stop", "kept", "stop"}) {
        engine.AddMessage(message);
    }
    engine.StartMsgEngine();
    ASSERT_TRUE(WaitUntil([&] { return engine.Threads() == 0; }));
    EXPECT_THAT(engine.Handled(), ElementsAre("before", "stop"));
    engine.StartMsgEngine();
    ASSERT_TRUE(WaitUntil([&] { return engine.Threads() == 0; }));
    EXPECT_THAT(engine.Handled(), ElementsAre("before", "stop", "kept", "stop"));
}

TEST(MsgEngine, StartsOneThreadOnly) {
    Recorder engine;
    engine.StartMsgEngine();
    engine.StartMsgEngine();
    EXPECT_EQ(1, engine.Threads());
}

TEST(MsgEngine, LosesNothingOfManyProducers) {
    constexpr int kProducers = 4;
    constexpr int kMessages = 200;
    Recorder engine;
    engine.StartMsgEngine();
    std::vector<std::thread> producers;
    for (int i = 0; i < kProducers; ++i) {
        producers.emplace_back([&] {
            for (int message = 0; message < kMessages; ++message) {
                engine.AddMessage("text");
            }
        });
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    EXPECT_TRUE(engine.AwaitHandled(kProducers * kMessages));
}

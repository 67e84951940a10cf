#include "MsgEngine.h"

#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "Recorder.h"
#include "guard.h"

using testing::ElementsAre;

namespace {

// Keeps what it handles; "stop" makes it stop its own engine.
class Engine : public CMsgEngine {
  public:
    ~Engine() override { WaitMsgEngineEnd(); }

    void DoMessage(CAutoString message) override {
        handled.Add(message.GetText());
        if (message == "stop") {
            StopMsgEngine();
        }
    }
    int Threads() {
        CLockGuard<GLockObj> guard(m_msgLock);
        return m_threadCount;
    }

    Recorder handled;
};

}  // namespace

TEST(MsgEngine, MessagesBehindAStopAreHandledAfterTheNextStart) {
    Engine engine;
    for (const char* message : {"before", "stop", "", "stop"}) {
        engine.AddMessage(message);
    }
    engine.StartMsgEngine();
    ASSERT_TRUE(WaitUntil([&] { return engine.Threads() == 0; }));
    EXPECT_THAT(engine.handled.All(), ElementsAre("before", "stop"));
    engine.StartMsgEngine();
    ASSERT_TRUE(WaitUntil([&] { return engine.Threads() == 0; }));
    EXPECT_THAT(engine.handled.All(), ElementsAre("before", "stop", "", "stop"));
}

TEST(MsgEngine, OneThreadLosesNothingOfManyProducers) {
    Engine engine;
    engine.StartMsgEngine();
    engine.StartMsgEngine();
    EXPECT_EQ(1, engine.Threads());
    std::vector<std::thread> producers;
    for (int i = 0; i < 4; ++i) {
        producers.emplace_back([&] {
            for (int message = 0; message < 200; ++message) {
                engine.AddMessage("text");
            }
        });
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    EXPECT_TRUE(engine.handled.Await(4 * 200));
}

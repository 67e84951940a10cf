#include "MsgEngine.h"

#include <gmock/gmock.h>

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

TEST(MsgEngine, MessagesBehindAStopAreHandledAfterTheNextStartByOneThread) {
    Engine engine;
    for (const char* message : {"before", "stop", ""}) {
        engine.AddMessage(message);
    }
    engine.StartMsgEngine();
    ASSERT_TRUE(WaitUntil([&] { return engine.Threads() == 0; }));
    EXPECT_THAT(engine.handled.All(), ElementsAre("before", "stop"));
    engine.StartMsgEngine();
    engine.StartMsgEngine();
    EXPECT_EQ(engine.Threads(), 1);
    engine.AddMessage("stop");
    ASSERT_TRUE(WaitUntil([&] { return engine.Threads() == 0; }));
    EXPECT_THAT(engine.handled.All(), ElementsAre("before", "stop", "", "stop"));
}

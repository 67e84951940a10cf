#include "ClientCommand.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "TemporaryFolder.h"

namespace {

constexpr int kGoesOn = 42;  // of a process that the client did not end

std::string State(int state, const std::string& more = "") {
    return "<M><OpC>NetStateMessageResp</OpC><P><newState>" + std::to_string(state) + "</newState>" + more +
           "</P></M>";
}

// Shows the messages to the client of a new process, whose output lands in "out". Answers its exit status.
int Show(const std::vector<std::string>& messages) {
    (void)fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        if (freopen("out", "w", stdout) == nullptr) {
            _exit(1);
        }
        for (const std::string& message : messages) {
            CClientCommand::GetInst()->DoMessage(message);
        }
        (void)fflush(stdout);
        _exit(kGoesOn);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST(ClientCommand, PrintsOutcomesAndEndsTheProcess) {
    const std::string failure = "<ErrorCode>140105</ErrorCode><subErrCode>%s11</subErrCode>";
    const std::string prompt = "If you want go to offline, Please enter [y]:\n";
    const std::string offline = State(12);
    const struct {
        const char* what;
        std::vector<std::string> messages;
        std::string output;
        int status;
    } rows[] = {
        {"login failed",
         {State(3, failure), State(2)},
         "login fail, the error is 140105, subcode is %s11\n",
         0},
        {"without a code", {State(3)}, "login fail, the error is 0, subcode is \n", 0},
        {"connected, twice, then disconnected", {State(2), State(2), offline}, prompt, 0},
        {"other states", {State(33), State(0), State(1), State(13), State(77)}, "", kGoesOn},
        {"other messages", {"<M><OpC>SetValue</OpC><P><newState>3</newState></P></M>", "", "<"}, "", kGoesOn},
        {"any target and root",
         {"<X><OpT>Other</OpT>" + offline.substr(3, offline.size() - 7) + "</X>"},
         "",
         0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        TemporaryFolder folder;
        EXPECT_EQ(row.status, Show(row.messages));
        EXPECT_EQ(row.output, folder.Read("out"));
    }
}

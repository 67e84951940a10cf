#pragma once

#include <chrono>
#include <functional>
#include <string>

// What came of the work in a child process.
struct ChildOutcome {
    enum class End { kDone, kCrashed, kTimeUp };

    End end = End::kDone;
    int signal = 0;      // that ended it, with kCrashed; 0 when it left by itself in the midst of the work
    std::string output;  // what it wrote, also when it did not come to its end
};

// Runs `work`, which writes its output to the given descriptor, in a child process, and returns when it is
// done, at the latest after `limit`: then the child is killed, as is at any end whatever it left running in
// its process group. For work that may crash, hang or talk: its other streams are /dev/null, it has no other
// descriptors, no file that it writes becomes larger than 32 MiB, and it ends with this process. Of the
// output 1 MiB is kept. A signal that is blocked and pending here ends it, too.
ChildOutcome RunInChild(const std::function<void(int output)>& work, std::chrono::milliseconds limit);

// Preloaded into a program it makes time pass faster for that program: a month in an afternoon. The clocks
// run FAST_CLOCK_RATE times as fast, and rests, time limits and timers take as much less. Processor time and
// the work itself do not, so the rate is bounded by what the shortest time limit has to leave for the work.
//
// The time of day was right at FAST_CLOCK_START (seconds since 1970), so that all programs that are started
// with the same value have the same time. Only what the service, the agent and the libraries below them call
// is taken over, not every function of the C library that knows time.
//
// The commands that a program asks of a shell are work that does not get faster, and would take four fifths
// of the processor. So what one said is said again for a quarter of a true second.
#include <dlfcn.h>
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string>

namespace {

constexpr long long kSecond = 1'000'000'000;  // times are in nanoseconds
constexpr long long kShorterRests = 10;
constexpr long long kSaidAgain = kSecond / 4;

long long Setting(const char* variable, long long otherwise) {
    const char* text = getenv(variable);
    return text == nullptr ? otherwise : strtoll(text, nullptr, 10);
}

long long Rate() {
    static const long long rate = Setting("FAST_CLOCK_RATE", 1);
    return rate;
}

long long From(const timespec& time) {
    return time.tv_sec * kSecond + time.tv_nsec;
}

// A time of 0 stays 0, because that disarms a timer; no other may become 0.
timespec Shorter(long long time) {
    const long long shorter = (time + Rate() - 1) / Rate();
    return {shorter / kSecond, shorter % kSecond};
}

// What the program would have called. `mine` only gives the type.
template <class Function>
Function* Following(Function* /*mine*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The commands of the program have their work to do.
__attribute__((constructor)) void LeaveChildrenAlone() {
    unsetenv("LD_PRELOAD");
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static const auto following = Following(&clock_gettime, "clock_gettime");
    static const long long day = Setting("FAST_CLOCK_START", 0) * kSecond;
    const int result = following(clock, time);
    if (result == 0 && clock != CLOCK_PROCESS_CPUTIME_ID && clock != CLOCK_THREAD_CPUTIME_ID) {
        const long long start = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE ? day : 0;
        const long long now = start + (From(*time) - start) * Rate();
        *time = {now / kSecond, now % kSecond};
    }
    return result;
}

time_t time(time_t* copy) noexcept {
    timespec now{};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    return copy == nullptr ? now.tv_sec : *copy = now.tv_sec;
}

int usleep(useconds_t time) {
    const timespec shorter = Shorter(time * 1000LL / kShorterRests);
    return nanosleep(&shorter, nullptr);
}

unsigned sleep(unsigned time) {
    const timespec shorter = Shorter(time * kSecond / kShorterRests);
    return nanosleep(&shorter, nullptr) == 0 ? 0 : 1;
}

int poll(pollfd* watched, nfds_t count, int limit) {
    const timespec shorter = Shorter(limit * (kSecond / 1000));
    return ppoll(watched, count, limit < 0 ? nullptr : &shorter, nullptr);
}

int timerfd_settime(int timer, int flags, const itimerspec* due, itimerspec* former) noexcept {
    static const auto following = Following(&timerfd_settime, "timerfd_settime");
    const itimerspec sooner = {Shorter(From(due->it_interval)), Shorter(From(due->it_value))};
    return following(timer, flags, &sooner, former);
}

int pclose(FILE* file) {
    return fclose(file);
}

FILE* popen(const char* command, const char* mode) {
    static const auto open = Following(&popen, "popen");
    static const auto close = Following(&pclose, "pclose");
    thread_local std::map<std::string, std::pair<std::string, long long>> saidTo;
    auto& [said, until] = saidTo[command];
    timespec now{};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    if (FILE* pipe = until < From(now) ? open(command, mode) : nullptr) {
        char line[BUFSIZ];
        for (said.clear(); fgets(line, sizeof line, pipe) != nullptr;) {
            said += line;
        }
        (void)close(pipe);
        until = From(now) + kSaidAgain * Rate();
    }
    FILE* file = fmemopen(nullptr, said.size() + 1, "w+");
    if (file != nullptr) {
        (void)fputs(said.c_str(), file);
        rewind(file);
    }
    return file;
}
}

#include "PipeService.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "ConsoleText.h"
#include "RelaxedAccess.h"
#include "SignalHandler.h"
#include "comm.h"
#include "guard.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr mode_t kFifoMode = 0600;         // logins travel here
constexpr size_t kReadSize = 4096;         // bytes; what one write to a FIFO keeps together
constexpr unsigned int kRetrySeconds = 1;  // between two looks for the other side

// How long a full FIFO may hold up its writer: enough for a busy front end, too short to miss a pulse.
constexpr Milliseconds kLongestWait(1000);

// Received messages that may wait for their handler; beyond them the other side has to wait. A front end that
// floods the service would fill the memory otherwise.
constexpr size_t kMostWaiting = 256;
constexpr unsigned int kCatchUpPauseMs = 1;

// Bytes of a lost message that are shown: all but texts that a portal blew up, which nobody wants to read.
constexpr int kMostShown = 4096;

// A handler, not SIG_IGN: what is ignored stays ignored in the shell commands that the service starts.
void NoteBrokenPipe(int /*signal*/) {}

// Waits for the other side to open the FIFO too. Commands that the service runs do not get the descriptor:
// one that stays alive would keep a FIFO open that the service has closed.
int OpenFifo(const char* name, int flags) {
    int descriptor = -1;
    do {
        descriptor = open(name, flags | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

mode_t TypeOf(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 ? status.st_mode & S_IFMT : 0;
}

void CloseIfOpen(int descriptor) {
    if (descriptor >= 0) {
        (void)close(descriptor);  // a FIFO has nothing left to write back
    }
}

void TellOfNoFifo(const char* name) {
    (void)fprintf(stderr, "%s is a plain file or a link, not a FIFO: move it away\n", name);
}

// A link could lead anywhere, and a plain file would grow with every message.
int OpenOwnFifo(const char* name) {
    const int descriptor = OpenFifo(name, O_WRONLY | O_NOFOLLOW);
    const bool isOther = descriptor < 0 ? errno == ELOOP : TypeOf(descriptor) != S_IFIFO;
    if (!isOther) {
        return descriptor;
    }
    TellOfNoFifo(name);
    CloseIfOpen(descriptor);
    return -1;
}

// A plain file counts as missing: it would be read to its end and then keep out the FIFO of the other side.
int OpenForeignFifo(const char* name, bool& isTold) {
    const int descriptor = OpenFifo(name, O_RDONLY);
    if (descriptor < 0 || TypeOf(descriptor) != S_IFREG) {
        return descriptor;
    }
    if (!isTold) {
        TellOfNoFifo(name);
        isTold = true;
    }
    CloseIfOpen(descriptor);
    return -1;
}

ssize_t ReadFifo(int descriptor, char* buffer, size_t size) {
    ssize_t count = 0;
    do {
        count = read(descriptor, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool IsEmpty(int descriptor) {
    int waiting = 0;
    return ioctl(descriptor, FIONREAD, &waiting) == 0 && waiting == 0;
}

// False when there is still none at `end`. A lost reader counts as room: the write will tell.
bool AwaitRoom(int descriptor, Clock::time_point end) {
    pollfd full = {descriptor, POLLOUT, 0};
    const auto left = std::max(Milliseconds(0), std::chrono::ceil<Milliseconds>(end - Clock::now()));
    return poll(&full, 1, static_cast<int>(left.count())) != 0;
}

// The number of bytes written by `end`. When they are fewer than `size`, errno tells why, EAGAIN for a FIFO
// that stayed full. Up to PIPE_BUF bytes are written as a whole or not at all.
size_t WriteBy(Clock::time_point end, int descriptor, const char* bytes, size_t size) {
    size_t written = 0;
    while (written < size) {
        const ssize_t count = write(descriptor, bytes + written, size - written);
        if (count >= 0) {
            written += static_cast<size_t>(count);
        } else if (errno == EAGAIN && !AwaitRoom(descriptor, end)) {
            errno = EAGAIN;
            break;
        } else if (errno != EAGAIN && errno != EINTR) {
            break;
        }
    }
    return written;
}

}  // namespace

CPipeService::CPipeService() {
    HandleUndecided(SIGPIPE, NoteBrokenPipe);
}

CPipeService::~CPipeService() {
    WaitMsgEngineEnd();
    CloseIfOpen(m_fdServer);
    CloseIfOpen(m_fdClient);
    if (m_pipeName != nullptr) {
        RemoveFifo(m_pipeName);
    }
}

void CPipeService::RemoveFifo(const char* name) {
    struct stat status = {};
    if (lstat(name, &status) == 0 && S_ISFIFO(status.st_mode)) {
        (void)unlink(name);  // somebody may have removed it in between
    }
}

int CPipeService::CreateNamedPipeInServer(const char* name, IPipeCallback* callback) {
    CLockGuard<GLockObj> guard(m_pipeLock);
    m_pipeName = name;
    m_pCallback = callback;
    return access(name, F_OK) == 0 ? -1 : mkfifo(name, kFifoMode);
}

int CPipeService::OpenNamePipeServer(const char* clientName) {
    if (OpenOutgoing() != 0) {
        return -1;
    }
    OpenIncoming(clientName);
    return 0;
}

// Opening waits for a reader; from then on no write waits by itself.
int CPipeService::OpenOutgoing() {
    if (m_pipeName == nullptr) {
        return -1;
    }
    const int opened = OpenOwnFifo(m_pipeName);
    if (opened < 0) {
        return -1;
    }
    (void)fcntl(opened, F_SETFL, O_WRONLY | O_NONBLOCK);  // an open FIFO takes it
    CLockGuard<GLockObj> guard(m_pipeLock);
    m_fdServer = opened;
    WriteRelaxed(m_bIsopenPipe, true);
    return 0;
}

void CPipeService::OpenIncoming(const char* name) {
    bool isTold = false;
    while ((m_fdClient = OpenForeignFifo(name, isTold)) < 0) {
        sleep(kRetrySeconds);
    }
}

int CPipeService::LoopMsg() {
    StartMsgEngine();
    char buffer[kReadSize];
    ssize_t count = 0;
    while ((count = ReadFifo(m_fdClient, buffer, sizeof(buffer))) >= 0) {
        if (count == 0) {
            sleep(kRetrySeconds);  // no front end at the moment
            continue;
        }
        (void)fflush(stdout);  // the output is a convenience
        QueueMessages(buffer, static_cast<size_t>(count));
        LetHandlerCatchUp();
    }
    // Whoever is told of the end takes down what the handler of the last message may still be using.
    WaitMsgEngineEnd();
    return -1;
}

// What follows the last NUL is dropped, not kept for the next read: a front end that died within a message
// would otherwise spoil the first message of its successor.
// Held by PipeService.DeliversWholeMessagesOfEachRead.
void CPipeService::QueueMessages(const char* bytes, size_t count) {
    const char* const end = bytes + count;
    const char* start = bytes;
    while (const void* nul = memchr(start, '\0', static_cast<size_t>(end - start))) {
        AddMessage(start);
        start = static_cast<const char*>(nul) + 1;
    }
}

void CPipeService::LetHandlerCatchUp() {
    auto isBehind = [this] {
        CLockGuard<GLockObj> guard(m_msgLock);
        return m_MsgQueue.size() > kMostWaiting;
    };
    while (isBehind()) {
        Sleep(kCatchUpPauseMs);
    }
}

void CPipeService::DoMessage(CAutoString text) {
    if (m_pCallback != nullptr) {
        m_pCallback->DoWorkOnPipe(text);
    }
}

int CPipeService::WritePipe(const char* text) {
    if (!ReadRelaxed(m_bIsopenPipe)) {
        return 0;
    }
    CLockGuard<GLockObj> guard(m_pipeLock);
    if (!Send(text, strlen(text) + 1)) {
        const char* reason = strerror(errno);
        printf("write error=%s:%s\n", reason, ConsoleText(CAutoString(text).Left(kMostShown)).GetBuffer());
        (void)fflush(stdout);  // the output is a convenience
        return 0;
    }
    (void)fflush(stdin);  // no effect unless somebody reads standard input
    return 1;
}

// A front end that has stopped reading holds up one message, and with it everybody who has one to send, for
// the longest wait. After that messages go in as far as there is room, until one has gone through or all that
// was sent has been read. One that may come apart is not begun in that time: the front end would find a
// damaged message for each.
// Held by PipeService.AFrontEndThatDoesNotReadCostsOneWait.
bool CPipeService::Send(const char* bytes, size_t size) {
    const bool mayWait = !m_isStalled || IsEmpty(m_fdServer);
    if (!mayWait && size > PIPE_BUF) {
        errno = EAGAIN;
        return false;
    }
    const TimePoint end = Clock::now() + (mayWait ? kLongestWait : Milliseconds(0));
    const bool isSent = EndTornMessage(end) && SendMessage(bytes, size, end);
    m_isStalled = !isSent && errno == EAGAIN;
    return isSent;
}

// The NUL that a torn message lacks keeps the next one from being taken for its rest.
bool CPipeService::EndTornMessage(TimePoint end) {
    m_isTorn = m_isTorn && WriteBy(end, m_fdServer, "", 1) == 0;
    return !m_isTorn;
}

bool CPipeService::SendMessage(const char* bytes, size_t size, TimePoint end) {
    const size_t written = WriteBy(end, m_fdServer, bytes, size);
    m_isTorn = written > 0 && written < size;
    return written == size;
}

int CPipeService::OpenNamePipeClient(const char* clientName) {
    OpenIncoming(clientName);
    return OpenOutgoing();
}

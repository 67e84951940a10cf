#include "PipeService.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "guard.h"

namespace {

constexpr mode_t kFifoMode = 0600;         // logins travel here
constexpr size_t kReadSize = 4096;         // bytes; what one write to a FIFO keeps together
constexpr unsigned int kRetrySeconds = 1;  // between two looks for the other side

void NoteBrokenPipe(int /*signal*/) {}

// A handler, not SIG_IGN: what is ignored stays ignored in the shell commands that the service starts.
void SurviveBrokenPipes() {
    struct sigaction action = {};
    if (sigaction(SIGPIPE, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) {
        return;
    }
    action.sa_handler = NoteBrokenPipe;
    action.sa_flags = SA_RESTART;
    (void)sigaction(SIGPIPE, &action, nullptr);  // both arguments are known to be valid
}

// Waits for the other side to open the FIFO too. Commands that the service runs do not get the descriptor:
// one that stays alive would keep a FIFO open that the service has closed.
int OpenFifo(const char* name, int direction) {
    int descriptor = -1;
    do {
        descriptor = open(name, direction | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

ssize_t ReadFifo(int descriptor, char* buffer, size_t size) {
    ssize_t count = 0;
    do {
        count = read(descriptor, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

void CloseIfOpen(int descriptor) {
    if (descriptor >= 0) {
        (void)close(descriptor);  // a FIFO has nothing left to write back
    }
}

}  // namespace

CPipeService::CPipeService() {
    SurviveBrokenPipes();
}

CPipeService::~CPipeService() {
    WaitMsgEngineEnd();
    CloseIfOpen(m_fdServer);
    CloseIfOpen(m_fdClient);
    if (m_pipeName != nullptr) {
        (void)unlink(m_pipeName);  // somebody may have removed it before
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

int CPipeService::OpenNamePipeClient(const char* clientName) {
    OpenIncoming(clientName);
    return OpenOutgoing();
}

int CPipeService::OpenOutgoing() {
    if (m_pipeName == nullptr) {
        return -1;
    }
    m_fdServer = OpenFifo(m_pipeName, O_WRONLY);
    m_bIsopenPipe = m_fdServer >= 0;
    return m_bIsopenPipe ? 0 : -1;
}

void CPipeService::OpenIncoming(const char* name) {
    while ((m_fdClient = OpenFifo(name, O_RDONLY)) < 0) {
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

void CPipeService::DoMessage(CAutoString text) {
    if (m_pCallback != nullptr) {
        m_pCallback->DoWorkOnPipe(text);
    }
}

int CPipeService::WritePipe(const char* text) {
    if (!m_bIsopenPipe) {
        return 0;
    }
    CLockGuard<GLockObj> guard(m_pipeLock);
    if (write(m_fdServer, text, strlen(text) + 1) < 0) {
        printf("write error=%s:%s\n", strerror(errno), text);
        (void)fflush(stdout);  // the output is a convenience
        return 0;
    }
    (void)fflush(stdin);  // no effect unless somebody reads standard input
    return 1;
}

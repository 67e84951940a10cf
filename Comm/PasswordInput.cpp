#include "PasswordInput.h"

#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <iterator>

namespace {

constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
constexpr size_t kUsualLength = 256;  // a line that grows leaves copies of its beginning in memory
volatile std::sig_atomic_t endingSignal = 0;

void RememberSignal(int signal) {
    endingSignal = signal;
}

// The terminal does not echo while one lives. A signal that ends the program interrupts the reading and takes
// effect afterwards: nobody should be left with a terminal that shows nothing.
class SilentTerminal {
  public:
    SilentTerminal() {
        struct sigaction remember = {};
        remember.sa_handler = RememberSignal;  // without SA_RESTART
        for (size_t i = 0; i < std::size(kEndingSignals); ++i) {
            (void)sigaction(kEndingSignals[i], &remember, &m_formerActions[i]);
        }
        (void)tcgetattr(STDIN_FILENO, &m_formerSettings);
        termios silent = m_formerSettings;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        (void)tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    ~SilentTerminal() {
        (void)tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_formerSettings);
        fputc('\n', stderr);  // the one that was not echoed
        for (size_t i = 0; i < std::size(kEndingSignals); ++i) {
            (void)sigaction(kEndingSignals[i], &m_formerActions[i], nullptr);
        }
        if (endingSignal != 0) {
            (void)raise(endingSignal);
        }
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

  private:
    struct sigaction m_formerActions[std::size(kEndingSignals)] = {};
    termios m_formerSettings = {};
};

std::optional<std::string> ReadLine() {
    std::string line;
    line.reserve(kUsualLength);
    int character = 0;
    while ((character = getchar()) != EOF && character != '\n') {
        line += static_cast<char>(character);
    }
    if (character == EOF && line.empty()) {
        return std::nullopt;
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

}  // namespace

std::optional<std::string> ReadPassword(const std::string& prompt) {
    if (isatty(STDIN_FILENO) == 0) {
        return ReadLine();
    }
    const SilentTerminal silence;
    fputs(prompt.c_str(), stderr);  // not before: what is typed until then is dropped
    return ReadLine();
}

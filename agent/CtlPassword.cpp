#include "CtlPassword.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "CtlWords.h"
#include "FileUtil.h"
#include "PasswordInput.h"

namespace {

constexpr size_t kLongestPassword = 4 * 1024;  // as much as an account file has in all

// The first line, byte by byte: what follows is left to whoever reads on, and nothing stays in a buffer.
CtlFault ReadFirstLine(int descriptor, Secret& password) {
    std::string line;
    line.reserve(kLongestPassword + 1);  // so that it does not grow and leave copies
    char byte = 0;
    ssize_t count = 0;
    while (line.size() <= kLongestPassword && (count = read(descriptor, &byte, 1)) == 1 && byte != '\n') {
        line += byte;
    }
    const int failure = errno;
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    const bool isTooLong = line.size() > kLongestPassword;
    password = Secret(line);
    Wipe(line);
    if (count < 0) {
        return {ExitStatus::kUsage, std::string("the password cannot be read: ") + strerror(failure)};
    }
    return isTooLong ? CtlFault{ExitStatus::kUsage, "the password is longer than 4 KiB"} : CtlFault{};
}

CtlFault ReadPasswordFile(const std::string& path, Secret& password) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) {
        const ExitStatus status = errno == EACCES ? ExitStatus::kDenied : ExitStatus::kUsage;
        return {status, path + " cannot be read: " + strerror(errno)};
    }
    return ReadFirstLine(file.Get(), password);
}

CtlFault AskForPassword(const std::string& account, Secret& password) {
    (void)setvbuf(stdin, nullptr, _IONBF, 0);  // nothing of it stays in a buffer
    std::optional<std::string> line = ReadPassword("Password of " + Shown(account) + ": ");
    if (!line) {
        return {ExitStatus::kUsage, "no password was given"};
    }
    password = Secret(*line);
    Wipe(*line);
    return {};
}

CtlFault ReadFromWhereItIs(const CtlOptions& options, Secret& password) {
    if (!options.passwordFile.empty()) {
        return ReadPasswordFile(options.passwordFile, password);
    }
    if (isatty(STDIN_FILENO) != 0) {
        return AskForPassword(options.account, password);
    }
    return ReadFirstLine(STDIN_FILENO, password);
}

}  // namespace

bool CanReadPassword(const CtlOptions& options) {
    return options.passwordFromInput || !options.passwordFile.empty() || isatty(STDIN_FILENO) != 0;
}

CtlFault ReadAccountPassword(const CtlOptions& options, Secret& password) {
    if (!CanReadPassword(options)) {
        return {ExitStatus::kUsage,
                "there is no terminal to ask for the password: use --password-stdin or --password-file FILE"};
    }
    CtlFault fault = ReadFromWhereItIs(options, password);
    if (!fault.IsNone()) {
        return fault;
    }
    if (password.Text().empty()) {
        return {ExitStatus::kUsage, "the password is empty"};
    }
    const bool hasNul = password.Text().find('\0') != std::string_view::npos;
    return hasNul ? CtlFault{ExitStatus::kUsage, "the password holds a NUL"} : CtlFault{};
}

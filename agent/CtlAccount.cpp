// Who is to be logged in, kept in a file that the agent watches. Works without an agent.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "AccountFile.h"
#include "CtlCommands.h"
#include "CtlPassword.h"
#include "CtlWords.h"

namespace {

// Anybody can serve a socket in the current folder and name any file. Root writes for an agent of another
// user only what that user could replace by himself.
bool MayName(uid_t agentUser, const std::string& path) {
    struct stat found = {};
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    const bool isThere = lstat(path.c_str(), &found) == 0 || stat(folder.c_str(), &found) == 0;
    return geteuid() != 0 || agentUser == 0 || (isThere && found.st_uid == agentUser);
}

std::string FindAccountFile(const CtlOptions& options) {
    if (!options.accountFile.empty()) {
        return options.accountFile;
    }
    const StatusFound found = StatusIfThere(options.socket);
    const std::string named = AccountFileOf(found.status.get());
    return !named.empty() && MayName(found.agentUser, named) ? named : kSystemAccountFile;
}

CtlFault AskForAccount(std::string& name) {
    if (isatty(STDIN_FILENO) == 0) {
        return {ExitStatus::kUsage, "there is no terminal to ask for the account: name it in the command"};
    }
    (void)fputs("Account: ", stderr);
    (void)std::getline(std::cin, name);  // nothing is read: no name, which is refused below
    return {};
}

CtlFault CheckName(const std::string& name) {
    const bool isOneLine =
        std::none_of(name.begin(), name.end(), [](unsigned char byte) { return byte < 0x20; });
    return name.empty() || !isOneLine
               ? CtlFault{ExitStatus::kUsage, "an account is a text of one line without control characters"}
               : CtlFault{};
}

CtlFault ReadAccount(CtlOptions options, Account& account) {
    CtlFault fault = options.account.empty() ? AskForAccount(options.account) : CtlFault{};
    if (fault.IsNone()) {
        fault = CheckName(options.account);
    }
    if (fault.IsNone()) {
        account.name = options.account;
        fault = ReadAccountPassword(options, account.password);
    }
    return fault;
}

// `fault` is empty for done.
ExitStatus Tell(const CtlOptions& options, const CtlFault& fault, const std::string& done) {
    if (!fault.text.empty()) {
        return Refuse(options, fault);
    }
    (void)printf("%s\n", options.asJson ? "{\"ok\":true}" : Shown(done).c_str());
    return ExitStatus::kDone;
}

}  // namespace

ExitStatus SetAccount(const CtlOptions& options) {
    Account account;
    CtlFault fault = ReadAccount(options, account);
    if (!fault.IsNone()) {
        return Refuse(options, fault);
    }
    const std::string path = FindAccountFile(options);
    fault.text = WriteAccountFile(path, account, fault.status);
    return Tell(options, fault, "account " + account.name + " is kept in " + path);
}

ExitStatus ClearAccount(const CtlOptions& options) {
    const std::string path = FindAccountFile(options);
    CtlFault fault;
    fault.text = RemoveAccountFile(path, fault.status);
    return Tell(options, fault, "no account is kept in " + path + " any more; a login that stands stays");
}

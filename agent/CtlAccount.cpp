// Who is to be logged in, kept in a file that the agent watches. Works without an agent.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "AccountFile.h"
#include "CtlCommands.h"
#include "CtlPassword.h"
#include "CtlWords.h"

namespace {

std::string FindAccountFile(const CtlOptions& options) {
    if (!options.accountFile.empty()) {
        return options.accountFile;
    }
    const JsonOwner status = StatusIfThere(options.socket);
    const std::string named = AccountFileOf(status.get());
    return named.empty() ? kSystemAccountFile : named;
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

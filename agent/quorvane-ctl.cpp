// The command of the agent: what it is told on the command line, and which command that is.

#include <CLI/CLI.hpp>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>

#include "CtlCommands.h"
#include "CtlWords.h"
#include "TextUtil.h"

namespace {

constexpr char kPurpose[] =
    "Asks quorvane-agent, which keeps this machine logged in, how things stand and tells it what to do.";
constexpr char kFooter[] =
    "--socket, --json and --timeout may stand before or after the command.\n\n"
    "Exit status:\n"
    "  0  done, or online\n"
    "  1  failed; no adapter\n"
    "  2  wrong usage\n"
    "  3  no answer in time\n"
    "  4  not logged in (also while it is on the way)\n"
    "  5  refused by the portal\n"
    "  6  no portal, or an open network\n"
    "  7  no agent, or no service\n"
    "  8  no right";

constexpr unsigned kLongestTimeoutSeconds = 24 * 60 * 60;
constexpr std::time_t kLongestHistorySeconds = 10L * 366 * 24 * 60 * 60;

void NoOptions(CLI::App& /*command*/, CtlOptions& /*options*/) {}

void AddPasswordOptions(CLI::App& command, CtlOptions& options) {
    CLI::Option* fromInput = command.add_flag("--password-stdin", options.passwordFromInput,
                                              "The password is the first line of standard input");
    command.add_option("--password-file", options.passwordFile, "The password is the first line of FILE")
        ->option_text("FILE")
        ->excludes(fromInput);
}

void AddLoginOptions(CLI::App& command, CtlOptions& options) {
    command
        .add_option("ACCOUNT", options.account, "Who is logged in; without it the account that the agent has")
        ->option_text(" ");
    AddPasswordOptions(command, options);
}

void AddTicket(CLI::App& command, CtlOptions& options) {
    command.add_option("TICKET", options.ticket, "The terminal's ticket, as `terminals` shows it")
        ->option_text(" ")
        ->required();
}

// The number of a duration's seconds as text, or a text that tells the fault.
std::string ReadDuration(std::string& text) {
    constexpr std::pair<char, std::time_t> kUnits[] = {
        {'s', 1}, {'m', 60}, {'h', 60 * 60}, {'d', 24 * 60 * 60}};
    const size_t digits = text.find_first_not_of("0123456789");
    constexpr size_t kMostDigits = 9;
    if (digits != 0 && digits <= kMostDigits && digits + 1 == text.size()) {
        for (const auto& [unit, length] : kUnits) {
            const std::time_t seconds = std::stol(text) * length;
            if (text.back() == unit && seconds > 0 && seconds <= kLongestHistorySeconds) {
                text = std::to_string(seconds);
                return "";
            }
        }
    }
    return "it takes a number and s, m, h or d, ten years at most, not " + text;
}

void AddHistoryOptions(CLI::App& command, CtlOptions& options) {
    command
        .add_option("--since", options.historySeconds,
                    "How far back, a number and s, m, h or d; 24h without it")
        ->option_text("D")
        ->transform(CLI::Validator(ReadDuration, ""));
    command.add_option("--svg", options.svgFile, "Draw it into FILE")->option_text("FILE");
}

void AddFolder(CLI::App& command, CtlOptions& options) {
    command
        .add_option("--dir", options.folder,
                    "The service's folder; without it the agent's, else " + std::string(kSystemFolder) +
                        ", else the current one")
        ->option_text("FOLDER");
}

void AddAccountFile(CLI::App& command, CtlOptions& options) {
    command
        .add_option("--account-file", options.accountFile,
                    "Without it the file that the agent names, else " + std::string(kSystemAccountFile))
        ->option_text("FILE");
}

void AddSetOptions(CLI::App& command, CtlOptions& options) {
    command.add_option("ACCOUNT", options.account, "Asked for when it is left out")->option_text(" ");
    AddPasswordOptions(command, options);
    AddAccountFile(command, options);
}

struct Command {
    const char* group;  // the word in front of it, or null
    const char* name;
    const char* purpose;
    void (*addOptions)(CLI::App& command, CtlOptions& options);
    ExitStatus (*run)(const CtlOptions& options);
};
constexpr char kAccountGroup[] = "account";
constexpr Command kCommands[] = {
    {nullptr, "status", "How things stand", NoOptions, ShowStatus},
    {nullptr, "watch", "What happens, one line an event, until it is interrupted", NoOptions, Watch},
    {nullptr, "login", "Log in and stay logged in", AddLoginOptions, Login},
    {nullptr, "logout", "Log out and stay logged out", NoOptions, Logout},
    {nullptr, "check", "Look at the network again", NoOptions, CheckNetwork},
    {nullptr, "terminals", "The machines that are logged in with this account", NoOptions, ShowTerminals},
    {nullptr, "terminal-logout", "Log another of them out", AddTicket, LogoutTerminal},
    {nullptr, "history", "How long this machine was online and what ended it", AddHistoryOptions,
     ShowHistory},
    {nullptr, "doctor", "Why this machine is not online", AddFolder, ExamineMachine},
    {kAccountGroup, "set", "Keep an account and its password in the file", AddSetOptions, SetAccount},
    {kAccountGroup, "clear", "Remove the file; a login that stands stays", AddAccountFile, ClearAccount},
};

void AddGeneralOptions(CLI::App& app, CtlOptions& options) {
    app.set_version_flag("--version", "quorvane-ctl " QUORVANE_VERSION);
    app.add_option("--socket", options.socket,
                   "The agent's socket; without it " + std::string(kSystemSocket) + ", then ./" + kSocketName)
        ->option_text("PATH");
    app.add_flag("--json", options.asJson, "Print the agent's answers as they are, for programs");
    app.add_option("--timeout", options.timeoutSeconds,
                   "How long to wait for an answer, in seconds; " + std::to_string(kDefaultTimeoutSeconds) +
                       " without it")
        ->option_text("S")
        ->check(CLI::Range(1U, kLongestTimeoutSeconds));
    app.require_subcommand(0, 1);  // none at all is refused in better words below
    app.fallthrough();             // lets these stand behind the command as well
    app.footer(kFooter);
}

void AddCommands(CLI::App& app, CtlOptions& options, const Command*& chosen) {
    CLI::App* accountGroup = nullptr;
    for (const Command& command : kCommands) {
        CLI::App* parent = &app;
        if (command.group != nullptr) {
            if (accountGroup == nullptr) {
                accountGroup =
                    app.add_subcommand(command.group, "Who is to be logged in")->require_subcommand(0, 1);
            }
            parent = accountGroup;
        }
        CLI::App* added = parent->add_subcommand(command.name, command.purpose);
        command.addOptions(*added, options);
        added->callback([&chosen, &command] { chosen = &command; });
    }
}

int RefuseUsage(const std::string& fault) {
    (void)fprintf(stderr, "quorvane-ctl: %s\nquorvane-ctl --help tells how it is used.\n",
                  Shown(fault).c_str());
    return static_cast<int>(ExitStatus::kUsage);
}

// Output that did not arrive is a failure, unless its reader chose to read no further.
int FinishOutput(ExitStatus status) {
    const bool isReaderGone = fflush(stdout) != 0 && errno == EPIPE;
    if (ferror(stdout) == 0 || isReaderGone || status != ExitStatus::kDone) {
        return static_cast<int>(status);
    }
    (void)fputs("quorvane-ctl: the output cannot be written\n", stderr);
    return static_cast<int>(ExitStatus::kFailed);
}

// What the command line has too much. A word of it may be a password, which is not repeated.
std::string UnexpectedWords(const CLI::App& app) {
    for (const std::string& word : app.remaining(true)) {
        if (StartsWith(word, "-")) {
            return "there is no option " + word.substr(0, StartsWith(word, "--") ? word.find('=') : 2);
        }
    }
    return app.get_subcommands().empty() ? "there is no command " + app.remaining().front()
                                         : "there is an argument too many; a password is none";
}

int Run(int argc, char** argv) {
    CtlOptions options;
    const Command* chosen = nullptr;
    CLI::App app(kPurpose, "quorvane-ctl");
    AddGeneralOptions(app, options);
    AddCommands(app, options, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ExtrasError&) {
        return RefuseUsage(UnexpectedWords(app));
    } catch (const CLI::ParseError& error) {
        const bool wasAnswered = error.get_exit_code() == 0;  // help or version
        return wasAnswered ? app.exit(error) : RefuseUsage(error.what());
    }
    if (chosen == nullptr) {
        return RefuseUsage("which command?");
    }
    return FinishOutput(chosen->run(options));
}

}  // namespace

int main(int argc, char** argv) {
    (void)signal(SIGPIPE, SIG_IGN);  // a reader that leaves early is no fault
    try {
        return Run(argc, argv);
    } catch (const std::exception& fault) {  // no memory left, or a child process for the examination
        (void)fprintf(stderr, "quorvane-ctl: %s\n", fault.what());
        return static_cast<int>(ExitStatus::kFailed);
    }
}

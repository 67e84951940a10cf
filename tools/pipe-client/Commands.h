#pragma once

#include <string>
#include <vector>

#include "FrontEnd.h"

// What the program can be told to do, one command after the other.

using Arguments = std::vector<std::string>;

enum Outcome { kDone = 0, kFailed = 1, kUsage = 2, kTimedOut = 3 };  // also the exit status

struct Command {
    const char* name;
    const char* arguments;  // as the help shows them
    const char* purpose;
    size_t required;
    size_t optional;
    // Sends and waits for the outcome, at most `timeOut` long. What went wrong is on standard error
    // afterwards.
    Outcome (*run)(FrontEnd& frontEnd, const Arguments& arguments, FrontEnd::Milliseconds timeOut);
};

const std::vector<Command>& AllCommands();
// Null when there is none of that name.
const Command* FindCommand(const std::string& name);

// A command with what follows it on the command line.
struct Step {
    const Command* command;
    Arguments arguments;
};

// Takes the words of a command line apart; an optional argument is any word that is no command. False, with
// the reason in `fault`, when they make no sense.
bool ReadSteps(const Arguments& words, std::vector<Step>& steps, std::string& fault);

// Puts a line of standard input in the place of each password that is "-". False at the end of the input.
bool ReadPasswords(std::vector<Step>& steps);

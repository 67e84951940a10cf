#pragma once

#include <string_view>

// Of a state, and of what nobody is there to do.
inline constexpr char kNoServiceRuns[] = "the service does not run";

// Of what is sent while there is no service, or while it reads nothing and its FIFO is full.
inline constexpr char kNotTaken[] = "the service does not take what it is sent";

// Where the machine stands, as a person would say it.
enum class AgentState {
    kServiceGone,
    kChecking,
    kReady,
    kLoggingIn,
    kOnline,
    kOpenNetwork,
    kLoggingOut,
    kRefused,
    kNoAdapter,
    kNoPortal,
    kOffline,
};

// A state, its name for programs and the words for people.
struct AgentStateWord {
    AgentState state;
    const char* name;
    const char* words;
};
inline constexpr AgentStateWord kAgentStateWords[] = {
    {AgentState::kServiceGone, "service-gone", kNoServiceRuns},
    {AgentState::kChecking, "checking", "looking at the network"},
    {AgentState::kReady, "ready", "ready, not logged in"},
    {AgentState::kLoggingIn, "logging-in", "logging in"},
    {AgentState::kOnline, "online", "online"},
    {AgentState::kOpenNetwork, "open-network", "open network, no login needed"},
    {AgentState::kLoggingOut, "logging-out", "logging out"},
    {AgentState::kRefused, "refused", "refused by the portal"},
    {AgentState::kNoAdapter, "no-adapter", "no network"},
    {AgentState::kNoPortal, "no-portal", "the portal cannot be reached"},
    {AgentState::kOffline, "offline", "offline"},
};

// The row of a state; the table has one for each, in their order.
constexpr const AgentStateWord& WordOf(AgentState state) {
    return kAgentStateWords[static_cast<int>(state)];
}

// Null when there is no state of that name.
constexpr const AgentStateWord* FindAgentState(std::string_view name) {
    for (const AgentStateWord& word : kAgentStateWords) {
        if (name == word.name) {
            return &word;
        }
    }
    return nullptr;
}

// What the keeper asks of the service, as stories whose reports come in the order in which the service sends
// them.
#include "LoginKeeper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <sstream>

using namespace std::chrono_literals;

namespace {

// A story is a text of words in their order:
//   found:NAME         an agent before left a login of that account
//   up, down           the service has opened the FIFOs; it is gone
//   33:30000101        a state report; 0>31 names the former state, too; "open" is type 0 and state 2
//   complete, value:KEY/ENABLE ClientStartComplete; a value of the portal's configuration
//   file:NAME/PASSWORD, file   the account of the file; none
//   login, login:NAME/PASSWORD, logout:REASON, check, rawlogin:NAME/PASSWORD, rawlogout    requests of users
//   net, wake, deaf    another network; the machine slept; the service takes nothing from now on
//   +5                 seconds go by, each operation that falls due is sent at its moment
//   >check             this is sent, also >start, >login:NAME, >logout:REASON; nothing else is between events
//   =online            the state; wanted:1, wanted:0; tries:2 failed; last:150108; next:5 seconds, -1: none
//   !login:refused     a request of that kind has been answered: "ok" or the error; "!-" none has
//   ONLINE             a part that many stories share:
const std::map<std::string, std::string> kParts = {
    {"UP", "file:me/secret up >start"},
    {"FRESH", "UP =checking complete >check 33:30000101 =checking"},
    {"READY", "FRESH value:FUN_StatsInfor/1 value:version 33:30000103 33:30000102 31 >login:me =logging-in"},
    {"ONLINE", "READY IN =online"},
    {"IN", "0>1 1>2:1"},
    {"OUT", "11>12:1"},
    {"TICKET", "33:30000103 33:30000102 31"},  // the service's own, after the end of a login
    {"RELOGIN", "TICKET >login:me IN =online"},
    {"FAIL", "33:30000101 =checking 32:20010207 =no-portal"},
    {"LOST", "1>3:150108 =offline last:150108"},
    {"REFUSED", "READY 0>1 1>3:140105 =refused TICKET =refused next:-1 wanted:1"},
    {"LOGOUT", "ONLINE logout:1 >logout:1 =logging-out wanted:0"},
    {"AGAIN", "+3 +.25 >logout:1"},
};
// clang-format off
const std::map<std::string, std::string> kOperations = {
    {"ClientStart", "start"}, {"CheckEnv", "check"}, {"PortalConnect", "login:"}, {"PortalDisConnect", "logout:"}};
// clang-format on

class Story : private IKeeperHost {
  public:
    explicit Story(const std::string& words, double chance = 0.5) : m_keeper(*this, [=] { return chance; }) {
        Tell(words);
        EXPECT_TRUE(m_sent.empty() && m_answers.empty()) << "sent or answered more: " << m_sent;
    }

  private:
    using Text = const std::string&;

    bool SendOperation(const char* opcode, Text parameters) override {
        const Report sent(OperationEnvelope(opcode, parameters));
        m_sent += kOperations.at(opcode) + sent.Parameter("user") + sent.Parameter("src");
        return !m_isDeaf;
    }
    void KeeperChanged() override { m_shown = m_keeper.State(); }

    void Tell(Text words) {
        std::istringstream stream(words);
        for (std::string word; stream >> word;) {
            const auto part = kParts.find(word);
            part != kParts.end() ? Tell(part->second) : Take(word);
        }
    }
    void Take(Text word) {
        SCOPED_TRACE("word " + std::to_string(++m_words) + ": " + word);
        EXPECT_EQ(m_shown, m_keeper.State()) << "the host was not told";
        EXPECT_TRUE(m_sent.empty() || strchr(">=!", word[0])) << "sent " << m_sent;
        const bool hasSign = isalnum(word[0]) == 0;
        const std::string verb = hasSign ? word.substr(0, 1) : word.substr(0, word.find(':'));
        const std::string text = verb == word ? "" : word.substr(hasSign ? 1 : verb.size() + 1);
        const std::map<std::string, std::function<void()>> verbs = {
            {">", [&] { EXPECT_EQ(std::exchange(m_sent, ""), text); }},
            {"=", [&] { EXPECT_EQ(WordOf(m_keeper.State()).name, text); }},
            {"!", [&] { EXPECT_TRUE(text == "-" ? m_answers.empty() : !m_answers.extract(text).empty()); }},
            {"+", [&] { Pass(std::stod(text)); }},
            {"up", [&] { m_keeper.Attached(m_now); }},
            {"found", [&] { m_keeper.KnowLogin(text); }},
            {"down", [&] { m_keeper.ServiceGone(m_now); }},
            {"open", [&] { Say("<type>0</type><newState>2</newState>"); }},
            {"complete", [&] { Say("", "ClientStartComplete"); }},
            {"value",
             [&] {
                 Say("<key>" + text.substr(0, text.find('/')) + "</key><value>&lt;x enable=\"" +
                         text.substr(text.find('/') + 1) + "\"/&gt;</value>",
                     "SetValue");
             }},
            {"deaf", [&] { m_isDeaf = true; }},
            {"file", [&] { m_keeper.SetAccount(AccountIn(text), m_now); }},
            {"fault", [&] { m_keeper.NoteAccountFault(text, m_now); }},
            {"login", [&] { m_keeper.Login(AccountIn(text), Ask(verb), m_now); }},
            {"logout", [&] { m_keeper.Logout(text, Ask(verb), m_now); }},
            {"check", [&] { m_keeper.Check(Ask(verb), m_now); }},
            {"rawlogin", [&] { m_keeper.LoginWasSent(AccountIn(text), m_now); }},
            {"rawlogout", [&] { m_keeper.LogoutWasSent(m_now); }},
            {"net", [&] { m_keeper.NetworkChanged(true, m_now); }},
            {"wake", [&] { m_keeper.NetworkChanged(false, m_now); }},
            {"wanted", [&] { EXPECT_EQ(m_keeper.IsWanted(), text == "1"); }},
            {"account", [&] { EXPECT_EQ(m_keeper.AccountName(), text); }},
            {"tries", [&] { EXPECT_EQ(m_keeper.Attempts(), std::stoi(text)); }},
            {"last", [&] { EXPECT_EQ(m_keeper.Last() ? std::to_string(m_keeper.Last()->code) : "-", text); }},
            {"next", [&] { EXPECT_EQ(m_keeper.NextTry().value_or(m_now - 1s), m_now + stoi(text) * 1s); }},
        };
        isdigit(word[0]) != 0 ? SayState(verb, text) : verbs.at(verb)();
    }

    void SayState(Text states, Text code) {
        const std::string former = states.find('>') == std::string::npos ? "33" : states.substr(0, 1);
        Say("<type>51</type><oldState>" + former + "</oldState><newState>" +
            states.substr(states.find('>') + 1) + "</newState><ErrorCode>" + code + "</ErrorCode>");
    }
    void Say(Text parameters, Text opcode = "NetStateMessageResp") {
        m_keeper.Received(
            Report("<M><OpT>InfoCenter</OpT><OpC>" + opcode + "</OpC><P>" + parameters + "</P></M>"), m_now);
    }
    static std::optional<Account> AccountIn(Text text) {
        const Account account = {text.substr(0, text.find('/')), Secret(text.substr(text.find('/') + 1))};
        return text.empty() ? std::nullopt : std::optional(account);
    }
    Settle Ask(Text kind) {
        return [kind, this](const Outcome& outcome) {
            EXPECT_EQ(m_shown, m_keeper.State()) << "answered before the host was told";
            m_answers.insert(kind + ":" + (outcome.error != nullptr ? outcome.error->word : "ok"));
        };
    }
    // The clock stops where the keeper has something to do.
    void Pass(double seconds) {
        const auto end = m_now + std::chrono::milliseconds(lround(1000 * seconds));
        for (int ticks = 0; m_keeper.NextDue() && *m_keeper.NextDue() <= end && ticks < 100; ++ticks) {
            m_now = std::max(m_now, *m_keeper.NextDue());
            m_keeper.Tick(m_now);
        }
        m_now = end;
    }

    LoginKeeper::Moment m_now{};
    bool m_isDeaf = false;
    std::string m_sent;                    // and not yet expected
    std::multiset<std::string> m_answers;  // likewise
    AgentState m_shown = AgentState::kServiceGone;
    int m_words = 0;
    LoginKeeper m_keeper;
};

void Tell(std::initializer_list<std::pair<const char*, const char*>> stories) {
    for (const auto& [what, words] : stories) {
        SCOPED_TRACE(what);
        const Story story(words);
    }
}

// clang-format off
TEST(LoginKeeper, FindsOutWhereTheServiceStands) {
    Tell({
        {"started just now", "ONLINE tries:0 next:-1 wanted:1 +1000 =online"},
        {"without an account", "up >start 33:30000101 31 =ready +1000 wanted:0"},
        {"a login stands", "UP =checking 0>31 =checking 1>2:1 =online +1000 wanted:1"},
        {"ended before", "UP 0>31 OUT =offline +5 >check 0>31 1>3:140105 =refused +5 >check"},
        {"says nothing", "up >start +59 =checking +2 =no-portal >start tries:1 last:0"},
        {"says no more, takes nothing", "UP 0>31 +60 >check =no-portal deaf +65 >check =offline tries:3 next:10"},
    });
}

TEST(LoginKeeper, TriesAgainAfterPausesThatGrow) {
    Tell({
        {"pauses", "FRESH 32:20010207 =no-portal >check tries:1 FAIL +5 >check FAIL +9.9 +.2 >check FAIL +19.9 +.2 "
                   ">check FAIL +39.9 +.2 >check FAIL +79.9 +.2 >check FAIL +159.9 +.2 >check FAIL +299.9 +.2 >check "
                   "FAIL +299.9 +.2 >check tries:9 31 >login:me IN tries:0"},
        {"login, then ticket", "READY 0>1 0>3:150102 =no-portal 33:30000103 0>33:150103 =no-portal last:150103 "
                               "tries:2 next:5"},
        {"login again", "READY 0>1 1>3:140077 =offline TICKET >login:me 0>1 1>3:140077 TICKET =offline +5 >check"},
        {"code 14", "READY 0>1 TICKET >login:me tries:1 0>1 TICKET next:5 =offline +5 >check 31 >login:me"},
        {"ticket before the login was read", "READY 31 =logging-in 0>1 33:30000104 33:30000105 IN tries:0"},
        {"silence", "READY 0>1 +59 =logging-in +2 =no-portal >check tries:1"},
        {"intercepted", "READY 0>1 open =open-network 33>3:150010 =offline tries:1 RELOGIN 31 =online"},
    });
}

TEST(LoginKeeper, LogsInOnceAfterALoss) {
    Tell({
        {"pulse", "ONLINE +70 LOST OUT =offline last:150108 RELOGIN tries:0 31 =online +61 LOST RELOGIN"},
        {"portal error", "ONLINE 1>3:140050 1>3:150108 OUT RELOGIN +20 0>31 1>2:1 +41 LOST RELOGIN"},
        {"two pulses", "ONLINE +70 LOST LOST OUT TICKET =offline next:5 OUT RELOGIN +900"},
        {"two pulses, one log-out", "ONLINE +70 LOST LOST OUT TICKET +5 >check 31 >login:me"},
        {"log-out fails, too", "ONLINE LOST +5 >check 33:30000101 =checking"},
        {"slow ticket", "ONLINE LOST +1 OUT +4.9 33:30000103 +50 31 >login:me"},
        {"pulse 14, stands", "ONLINE 2>12:14 =offline last:14 1>2:1 =online +100 next:-1"},
        {"pulse 14, undecided", "ONLINE 2>12:14 +5 >check 33:30000101 33:30000103 31 >login:me"},
        {"twice", "ONLINE OUT last:1 RELOGIN +50 LOST OUT next:5 TICKET =offline +5 >check 31 >login:me"},
    });
}

TEST(LoginKeeper, AsksARefusedAccountOnce) {
    Tell({
        {"restart", "REFUSED +900 last:140105 down up >start complete >check 31 =refused net wake +900 file =ready "
                    "wanted:0"},
        {"note, number", "READY login 0>1 1>3:150200 !login:refused login TICKET >login:me 0>1 1>3:150201 =refused "
                         "!login:refused +900"},
        {"version", "FRESH 33:30000103 32:140003 =refused check >check 33:30000101 =refused 31 =refused !check:ok"},
        {"asked again", "REFUSED login >check 31 >login:me 0>1 1>3:140105 !login:refused TICKET file:me/other >check "
                        "=ready 31 >login:me"},
        {"changed on the way", "READY file:you/x login 0>1 1>3:140105 !- TICKET >login:you IN !login:ok"},
    });
}

TEST(LoginKeeper, LooksAtNetworksAnew) {
    Tell({
        {"open", "FRESH login check open =open-network !login:no-portal !check:ok next:300 +299 +1 >check open "
                 "tries:0"},
        {"second look", "FRESH open +5 33:30000103 0>33:150103 =no-portal +5 >check open +5 33:30000103 31 >login:me"},
        {"online", "ONLINE net >check =online 31 >login:me =logging-in IN net >check 2>12:14 next:-1"},
        {"online, then open", "ONLINE net >check open =open-network 1>2:1 =online net >check 32:20010204 >check"},
        {"nothing to win", "ONLINE wake +1000 file net +1000 =online"},
        {"paused", "FRESH 32:20010204 >check 32:20010204 +1 net >check FAIL >check FAIL wake >check"},
        {"on the way in", "READY net IN =online >check 31 >login:me IN +900"},
        {"within its own ticket", "ONLINE LOST OUT 33:30000103 net 33:30000102 31 >check 31 >login:me"},
        {"within a try", "FRESH net >check 31 >login:me net 0>1 0>3:150102 net RELOGIN"},
    });
}

TEST(LoginKeeper, LogsOut) {
    Tell({
        {"at once", "ONLINE logout:2 >logout:2 logout:1 OUT =offline last:1 !logout:ok !logout:ok +900 =offline TICKET "
                    "=ready"},
        {"dropped", "LOGOUT AGAIN AGAIN AGAIN AGAIN AGAIN AGAIN AGAIN AGAIN AGAIN +3 =logging-out !- +.25 "
                    "!logout:failed =online +900"},
        {"turned down", "LOGOUT 1>3:140050 !logout:failed =online last:140050 +9"},
        {"intercepted", "LOGOUT open =logging-out AGAIN AGAIN 31 OUT !logout:ok"},
        {"lost meanwhile", "LOGOUT LOST !logout:ok OUT TICKET =ready next:-1"},
        {"no statistics", "FRESH value:x TICKET >login:me IN logout:1 !logout:no-logout login:you/x !login:no-logout"},
        {"statistics off", "FRESH value:FUN_StatsInfor/0 value:x TICKET >login:me IN logout:1 !logout:no-logout"},
        {"on the way in", "READY logout:1 !logout:not-logged-in wanted:0 IN >logout:1 OUT +900"},
        {"in a pause", "FRESH 32:20010207 >check FAIL logout:1 !logout:not-logged-in next:-1 +900"},
        {"and in", "LOGOUT login OUT !logout:ok !- RELOGIN !login:ok wanted:1 logout:1 >logout:1 down "
                   "!logout:no-service =service-gone last:0 up >start complete >check 31 =ready wanted:0"},
    });
}

TEST(LoginKeeper, SpreadsItsPauses) {
    const Story least("FRESH 32:20010207 >check FAIL +3.9 +.2 >check 31 >login:me IN logout:1 >logout:1 +2.4 +.2 "
                      ">logout:1", 0);
    const Story most("FRESH 32:20010207 >check FAIL +5.9 +.2 >check 31 >login:me IN logout:1 >logout:1 +3.9 +.2 "
                     ">logout:1", 1);
}

TEST(LoginKeeper, FollowsUsersAndTheirAccounts) {
    Tell({
        {"nobody there", "login !login:bad-request file:me/x login !login:no-service wanted:1 check !check:no-service"},
        {"by itself", "up >start 31 =ready rawlogin 0>1 =logging-in 1>2:1 =online rawlogout +3.9 =logging-out +.2 "
                      "=online"},
        {"by itself, with its account", "up >start 31 rawlogin:you/x 0>1 wanted:1 1>2:1 account:you LOST OUT 31 "
                                        ">login:you 0>1 1>3:140105 =refused TICKET next:-1"},
        {"online", "ONLINE login !login:ok login:me/new !login:ok check !check:ok"},
        {"another", "ONLINE login:you/x >logout:1 OUT !- TICKET >login:you IN !login:ok login >logout:1"},
        {"found again", "ONLINE 2>12:14 login:you/x 1>2:1 >logout:1 OUT +5 >check 31 >login:you"},
        {"no portal", "FRESH login check 32:20010207 >check !login:no-portal !check:ok FAIL login >check FAIL "
                      "!login:no-portal >check FAIL check >check FAIL !check:ok >check"},
        {"no adapter", "FRESH login check 32:20010204 >check =no-adapter !login:failed !check:ok 32:150107 "
                       "=no-adapter"},
        {"left", "FRESH login logout:1 !login:failed !logout:not-logged-in check 31 =ready !check:ok"},
        {"until online", "LOGOUT OUT !logout:ok TICKET login >check check 31 >login:me !- IN !check:ok !login:ok "
                         "wanted:1"},
        {"same account", "ONLINE file:me/secret file:me/new =online fault:mode last:0 login:me/x !login:ok account:me "
                         "file account: wanted:0"},
        {"mended", "ONLINE fault:mode last:0 file:me/secret last:- fault:mode 2>12:14 file:me/secret last:14"},
        {"another", "ONLINE file:you/x >logout:1 OUT TICKET >login:you"},
        {"another, by the next agent", "found:you UP 0>31 1>2:1 >logout:1 OUT TICKET >login:me"},
        {"gone", "ONLINE file wanted:0 =online 2>12:14 TICKET =ready file:me/x >check wanted:1"},
        {"after a log-out", "LOGOUT OUT !logout:ok TICKET file:you/x wanted:0 +900"},
        {"first, login found", "up >start 0>31 1>2:1 file:me/x =online wanted:1 login !login:ok logout:1 >logout:1 OUT "
                               "!logout:ok"},
    });
}
// clang-format on

}  // namespace

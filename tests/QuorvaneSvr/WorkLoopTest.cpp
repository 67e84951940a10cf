// Every order of the portal's answers, a front end's operations and the timer, up to a depth, against the
// real tasks, work loop, timer and protocol engine. The linker puts the functions between the two halves of
// this file in the place of what waits, measures time or leaves the process (CMakeLists.txt).
//
// A history is a text with a letter for each event, told from the start. Both threads' bodies run on this
// thread: the work loop's until it rests or asks the portal, the timer's while time passes. Where two
// histories leave the same behind, only the shorter one is continued. The letters:
//   S ClientStart   C CheckEnv   L PortalConnect   O PortalDisConnect
//   T time passes until the timer fires   - it does not in this moment
//   g good   e "Error-Code" 99   x 14, the login has ended   u 300, undecided   r 3, version limit
//   m 200, a new module   f no connection   i intercepted; for a probe an open network
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <utility>

#include "CurlHttp.h"
#include "Documents.h"
#include "PortalConn.h"
#include "PortalServer.h"

using namespace QuorvaneSvr;

namespace {

constexpr char kServer[] = "portal.invalid:80";
constexpr time_t kHorizon = 12;       // seconds; beyond every interval of the scenario below
constexpr char kByItself[] = "TCLO";  // what may happen while the portal is asked

const std::map<char, int> kErrorCodes = {{'g', 0}, {'e', 99}, {'x', 14}, {'u', 300}, {'r', 3}, {'m', 200}};

// What the design leaves open (docs/testing.md tells more); anything else that is found is a fault.
const std::set<std::string> kLeftOpen = {
    "a login while one stands",   "a pulse after a log-out from no portal's network",
    "nothing left after start",   "nothing left after probe f",
    "nothing left after probe i", "nothing left after ticket e",
    "nothing left after state r", "nothing left after term g",
    "nothing left after term x",  "nothing left after term f",
};
constexpr int kWholeDepth = 8;  // in which all of that shows

struct EndOfHistory {};
struct EndOfTime {};

// The history that is being told, and what the portal and a front end know of it.
struct World {
    std::string history;
    size_t told = 0;
    time_t now = 1;
    CPortalServer* service = nullptr;
    CPortalConn* engine = nullptr;
    CTaskMgr* queue = nullptr;
    std::function<void()> runTimer;

    Task running;
    bool isIdle = false;       // the work loop, without a task
    bool failsAgain = false;   // the second attempt at a request
    time_t passesUntil = 0;    // 0 while the timer's body does not run
    bool isTolerated = false;  // the next failed pulse
    enum { kNone, kStands, kEnded } login = kNone;
    bool wasOutside = false;  // the log-out, of what the service took for a portal's network
    int unasked = 0;          // logins sent, less those that a front end asked for
    std::string lastAnswer = "start";

    bool hasEnded = false;
    std::string place;     // where the work thread then stands: what it asks, or "idle"
    std::string options;   // the events that may follow
    std::string waiting;   // the tasks and entries that are left, with their due times
    bool hasNext = false;  // among them is one that leads on
    std::set<std::string> found;
};
World world;

// Until an entry of the timer fires, or all have when the history has ended.
void PassTime() {
    world.passesUntil = world.now + kHorizon;
    try {
        world.runTimer();
    } catch (const EndOfTime&) {
        world.passesUntil = 0;
    }
}

// The next event, one of `options`; behind its last one the history ends.
char NextEvent(const std::string& place, const std::string& options) {
    if (world.told == world.history.size()) {
        world.place = place;
        world.options = options;
        throw EndOfHistory();
    }
    return world.history[world.told++];
}

void HappenByItself(char event) {
    CXMLOpt document("<M><P><user>1</user><password>2</password><src>1</src></P></M>");
    world.unasked -= event == 'L' ? 1 : 0;
    switch (event) {
        case 'S': world.service->Start("", document); break;
        case 'C': world.service->CheckEnv("", document); break;
        case 'O': world.service->DisConnect("", document); break;
        case 'L': world.service->Connect("", document); break;
        default: PassTime();
    }
}

void CheckRequest(const std::string& kind) {
    if (kind == "auth" && ++world.unasked > 0) {
        world.found.insert("a login that nobody asked for");
    }
    if (kind == "auth" && world.login == World::kStands) {
        world.found.insert("a login while one stands");
    }
    if (kind == "keep" && world.login == World::kEnded) {
        world.found.insert(std::string("a pulse after a log-out") +
                           (world.wasOutside ? " from no portal's network" : ""));
    }
}

void Note(const std::string& kind, char answer) {
    world.lastAnswer = kind + " " + answer;
    world.unasked -= answer == 'm' ? 1 : 0;  // the same login is sent again
    const bool isGood = answer == 'g';
    if (isGood && (kind == "auth" || kind == "state")) {
        world.login = World::kStands;
    } else if (answer == 'x' || (isGood && kind == "term")) {
        world.login = World::kEnded;
        world.wasOutside = world.service->IsPortalEnv() == 0;
    }
    const bool isFailedPulse = kind == "keep" && answer != 'x' && answer != 'r';
    world.isTolerated = (isGood && kind == "auth") || (world.isTolerated && !isFailedPulse);
}

template <typename... Values>
std::string Listed(const Values&... values) {
    std::ostringstream list;
    ((list << values << ' '), ...);
    return list.str();
}

// The answers there are to a request, by the last word of its address, and the text of the good one. Of the
// answers that lead to the same next step there is one.
std::map<std::string, std::pair<const char*, std::string>> Portal() {
    portal_sim::Scenario scenario;
    scenario.ticketSeconds = 10;
    scenario.pulseSeconds = 5;
    scenario.pulseRetries = 0;
    scenario.statisticsInterval = 10;
    return {{"probe", {"gfi", PortalPage(scenario, kServer, kServer)}},
            {"ticket", {"gei", TicketDocument(scenario, "ticket")}},
            {"state", {"guxir", LoginDocument(scenario, kServer)}},
            {"auth", {"gfim", LoginDocument(scenario, kServer)}},
            {"keep", {"gxfir", PulseDocument(scenario)}},
            {"term", {"gxfi", portal_sim::TermDocument()}}};
}

struct Service : CPortalServer {
    void DoTimeTask(int timeId, CAutoString& tag) override {
        if (!world.hasEnded) {
            world.passesUntil = world.now;
            CPortalServer::DoTimeTask(timeId, tag);
            return;
        }
        // A statistics report by itself leads to the next one only.
        world.hasNext |= timeId != QuorvaneSvr::trafficStatistics || tag.Find("<type>2") < 0;
        world.waiting += Listed(timeId, world.now, tag.GetText());
    }
};

// All that decides how the history can go on. What waits is taken out.
std::string WhatIsLeft() {
    const CAuthConfig& record = world.engine->GetRecord();
    Task task = world.running;
    std::string left =
        Listed(world.place, task.curTask, task.nextTask, task.tag.GetText(), world.isTolerated, world.login,
               world.wasOutside, world.unasked, world.engine->GetNetState(), world.service->IsPortalEnv(),
               record.iInterval, record.strTicket.IsEmpty(), record.strKeepUrl.IsEmpty());
    while (world.queue != nullptr && world.queue->GetTask(task)) {
        left += Listed(task.curTask, task.nextTask, task.tag.GetText());
    }
    world.hasEnded = true;
    world.now = 0;
    PassTime();
    if (world.place == "idle" && !world.hasNext) {
        world.found.insert("nothing left after " + world.lastAnswer);
    }
    return left + "; " + world.waiting;
}

// Tells a history from the start, on a portal business of its own.
std::string Tell(const std::string& history) {
    world = {};
    world.history = history;
    CInfoCenter settings;
    settings.SetValue("clientId", "id");
    Service service;
    service.SetInfoCenter(&settings);
    world.service = &service;
    try {
        HappenByItself('S');
        service.Work();
    } catch (const EndOfHistory&) {
    }
    return WhatIsLeft();
}

}  // namespace

extern "C" {

// In the place of what sends statistics and finds addresses, of what takes a new module, and of what codes a
// text: whoever takes the copy frees it with delete[].
int SucceedAtOnce() {
    return 0;
}

int TakeModule() {
    return 1;
}

char* CopyText(void*, const char* text) {
    return strcpy(new char[strlen(text) + 1], text);
}

// In the place of the functions of these names, __real_ those themselves.
int __real__ZN11CPortalConn4InitEv(CPortalConn* engine);
int __wrap__ZN11CPortalConn4InitEv(CPortalConn* engine) {
    world.engine = engine;
    return __real__ZN11CPortalConn4InitEv(engine);
}

bool __real__ZN11QuorvaneSvr8CTaskMgr7GetTaskERNS_4TaskE(CTaskMgr* queue, Task& task);
bool __wrap__ZN11QuorvaneSvr8CTaskMgr7GetTaskERNS_4TaskE(CTaskMgr* queue, Task& task) {
    world.queue = queue;
    world.isIdle = !__real__ZN11QuorvaneSvr8CTaskMgr7GetTaskERNS_4TaskE(queue, task);
    world.running = task;
    return !world.isIdle;
}

// StopTask takes a task out of two lists; the timer may fire in between.
void __real__ZN11QuorvaneSvr8CTaskMgr10RemoveTaskENS_8TaskItemE(CTaskMgr* queue, TaskItem item);
void __wrap__ZN11QuorvaneSvr8CTaskMgr10RemoveTaskENS_8TaskItemE(CTaskMgr* queue, TaskItem item) {
    __real__ZN11QuorvaneSvr8CTaskMgr10RemoveTaskENS_8TaskItemE(queue, item);
    if (item == pluse && NextEvent("stop", "-T") == 'T') {
        PassTime();
    }
}

bool __wrap__ZN13CSimpleThread3RunEPFPvS0_ES0_Pb(CSimpleThread*, void* (*body)(void*), void* argument,
                                                 bool* runFlag) {
    *runFlag = true;
    if (body != CPortalServer::WorkThread) {
        world.runTimer = [=] { body(argument); };
    }
    return true;
}

time_t __wrap_time(time_t*) {
    return world.now;
}

void __wrap__Z5Sleepj(unsigned) {
    if (world.passesUntil != 0) {
        if (world.now++ == world.passesUntil) {
            throw EndOfTime();
        }
    } else if (world.isIdle) {
        HappenByItself(NextEvent("idle", std::string("S") + kByItself));
    }
}

int __wrap__ZN9CCurlHttp7PerformEP9CHttpData(CCurlHttp*, CHttpData* data) {
    static const auto portal = Portal();
    if (std::exchange(world.failsAgain, false) || *data->szUrl == '\0') {
        return CCurlHttp::kTransferFailed;
    }
    const char* word = strrchr(data->szUrl, '/') + 1;
    const std::string kind = portal.count(word) != 0 ? word : "probe";
    CheckRequest(kind);
    // No portal takes a login without a ticket.
    const bool isRefused = kind == "auth" && world.engine->GetRecord().strTicket.IsEmpty();
    const std::string answers = isRefused ? "fim" : portal.at(kind).first;
    char event = '\0';
    while (answers.find(event = NextEvent(kind, answers + kByItself)) == std::string::npos) {
        HappenByItself(event);
    }
    Note(kind, event);
    world.failsAgain = event == 'f' && kind != "probe";
    const std::string code = kErrorCodes.count(event) != 0 ? std::to_string(kErrorCodes.at(event)) : "";
    data->retCode = event == 'i' && kind != "probe" ? 302 : 200;
    data->RespHead(CopyText(nullptr, ("Server-Tag:s\r\nError-Code:" + code + "\r\n").c_str()));
    data->RespData(CopyText(nullptr, event == 'g' ? portal.at(kind).second.c_str() : "-"));
    return event == 'f' ? CCurlHttp::kTransferFailed : CCurlHttp::kDone;
}

}  // extern "C"

TEST(WorkLoop, KeepsItsPromisesInEveryOrderOfEvents) {
    testing::internal::CaptureStdout();  // each start prints its line
    // From the start of the service, with a ticket, and logged in after the first pulse.
    std::vector<std::string> histories = {"", "CTggTu", "CTggTuLgTg"};
    std::set<size_t> seen;
    std::map<std::string, std::string> found;  // what, and the shortest history
    size_t told = 0;
    for (int depth = 0; depth <= EXPLORED_DEPTH; ++depth) {
        std::vector<std::string> longer;
        for (const std::string& history : histories) {
            const bool isNew = seen.insert(std::hash<std::string>()(Tell(history))).second;
            for (const std::string& what : world.found) {
                found.emplace(what, history);
            }
            for (const char event : isNew ? world.options : "") {
                longer.push_back(history + event);
            }
        }
        told += histories.size();
        histories = std::move(longer);
    }
    (void)testing::internal::GetCapturedStdout();
    std::cout << told << " histories, " << seen.size() << " states\n";
    for (const auto& [what, history] : found) {
        std::cout << what << ": " << history << "\n";
        EXPECT_EQ(kLeftOpen.count(what), 1u) << what << ": " << history;
    }
    if (EXPLORED_DEPTH >= kWholeDepth) {
        EXPECT_EQ(found.size(), kLeftOpen.size());
    }
}

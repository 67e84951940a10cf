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
#include <malloc.h>

#include <climits>
#include <cstring>
#include <deque>
#include <functional>
#include <iostream>
#include <map>
#include <set>

#include "CurlHttp.h"
#include "Documents.h"
#include "Log.h"
#include "PortalConn.h"
#include "PortalServer.h"

using QuorvaneSvr::CTaskMgr;
using QuorvaneSvr::Task;
using QuorvaneSvr::TaskItem;

namespace {

constexpr char kServer[] = "portal.invalid:80";
constexpr time_t kHorizon = 12;       // seconds; beyond every interval of the scenario below
constexpr char kByItself[] = "TCLO";  // what may happen while the portal is asked

const std::map<char, const char*> kErrorCodes = {{'g', "0"},   {'e', "99"}, {'x', "14"},
                                                 {'u', "300"}, {'r', "3"},  {'m', "200"}};

// By the last word of the address. Of the answers that lead to the same next step there is one.
const std::map<std::string, const char*> kAnswers = {{"probe", "gfi"}, {"ticket", "gei"}, {"state", "guxir"},
                                                     {"auth", "gfim"}, {"keep", "gxfir"}, {"term", "gxfi"}};

// What the design leaves open (docs/testing.md tells more); anything else that is found is a fault.
const std::set<std::string> kLeftOpen = {
    "a login while one stands",         "a pulse after a log-out from no portal's network",
    "nothing left to do after start",   "nothing left to do after probe f",
    "nothing left to do after probe i", "nothing left to do after ticket e",
    "nothing left to do after state r", "nothing left to do after term g",
    "nothing left to do after term x",  "nothing left to do after term f",
};

struct EndOfHistory {};
struct EndOfTime {};

struct Service : CPortalServer {
    void DoTimeTask(int timeId, CAutoString& tag) override;
};

// The history that is being told, and what the portal and a front end know of it.
struct World {
    std::string history;
    size_t told = 0;
    time_t now = 0;
    Service* service = nullptr;
    CPortalConn* engine = nullptr;
    CTaskMgr* queue = nullptr;
    void* (*timerBody)(void*) = nullptr;
    void* timer = nullptr;

    Task running;
    bool isIdle = false;       // the work loop, without a task
    bool failsAgain = false;   // the second attempt at a request
    time_t passesUntil = 0;    // 0 while the timer's body does not run
    bool hasFired = false;     // the timer, since time has begun to pass
    bool isTolerated = false;  // the next failed pulse
    bool stands = false;       // the login
    bool isLoggedOut = false;  // and not logged in again
    bool wasOutside = false;   // the log-out, of what the service took for a portal's network
    int unasked = 0;           // logins sent, less those that a front end asked for
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
    world.hasFired = false;
    world.passesUntil = world.now + kHorizon;
    try {
        world.timerBody(world.timer);
    } catch (const EndOfTime&) {
        world.passesUntil = 0;
    }
}

// The next event, one of `options`; behind its last one the history ends.
char NextEvent(const std::string& place, const std::string& options) {
    if (world.told < world.history.size()) {
        return world.history[world.told++];
    }
    world.place = place;
    world.options = options;
    throw EndOfHistory();
}

void HappenByItself(char event) {
    CXMLOpt document("<M><P><user>1</user><password>2</password><src>1</src></P></M>");
    switch (event) {
        case 'S': world.service->Start("", document); break;
        case 'C': world.service->CheckEnv("", document); break;
        case 'O': world.service->CPortalServer::DisConnect("", document); break;
        case 'L':
            --world.unasked;
            world.service->Connect("", document);
            break;
        default: PassTime();
    }
}

void CheckRequest(const std::string& kind) {
    if (kind == "auth" && ++world.unasked > 0) {
        world.found.insert("a login that nobody asked for");
    }
    if (kind == "auth" && world.stands) {
        world.found.insert("a login while one stands");
    }
    if (kind == "keep" && world.isLoggedOut) {
        world.found.insert(world.wasOutside ? "a pulse after a log-out from no portal's network"
                                            : "a pulse after a log-out");
    }
}

void Note(const std::string& kind, char answer) {
    world.lastAnswer = kind + " " + answer;
    if (answer == 'g' && (kind == "auth" || kind == "state")) {
        world.stands = true;
        world.isLoggedOut = false;
    } else if (answer == 'x' || (answer == 'g' && kind == "term")) {
        world.stands = false;
        world.isLoggedOut = true;
        world.wasOutside = world.service->IsPortalEnv() == 0;
    }
    if (kind == "auth") {
        world.unasked -= answer == 'm' ? 1 : 0;  // the same login is sent again
        world.isTolerated = world.isTolerated || answer == 'g';
    } else if (kind == "keep" && strchr("gfi", answer) != nullptr) {
        world.isTolerated = false;
    }
}

// For whoever takes it to free with delete[].
char* Text(const std::string& text) {
    return strcpy(new char[text.size() + 1], text.c_str());
}

std::map<std::string, std::string> Bodies() {
    portal_sim::Scenario scenario;
    scenario.ticketSeconds = 10;
    scenario.pulseSeconds = 5;
    scenario.pulseRetries = 0;
    scenario.statisticsInterval = 10;
    return {{"probe", PortalPage(scenario, kServer, kServer)},
            {"ticket", TicketDocument(scenario, "ticket")},
            {"state", LoginDocument(scenario, kServer)},
            {"auth", LoginDocument(scenario, kServer)},
            {"keep", PulseDocument(scenario)},
            {"term", portal_sim::TermDocument()}};
}

}  // namespace

void Service::DoTimeTask(int timeId, CAutoString& tag) {
    world.hasFired = true;
    if (!world.hasEnded) {
        CPortalServer::DoTimeTask(timeId, tag);
        return;
    }
    // A statistics report by itself leads to the next one only.
    world.hasNext |= timeId != QuorvaneSvr::trafficStatistics || tag.Find("<type>2") < 0;
    world.waiting += std::to_string(timeId) + " in " + std::to_string(world.now) + tag.GetText() + ", ";
}

// In the place of the functions of these names, __real_ those themselves.
extern "C" {

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
    if (item == QuorvaneSvr::pluse && NextEvent("stop", "-T") == 'T') {
        PassTime();
    }
}

bool __wrap__ZN13CSimpleThread3RunEPFPvS0_ES0_Pb(CSimpleThread*, void* (*body)(void*), void* argument,
                                                 bool* runFlag) {
    *runFlag = true;
    if (body != CPortalServer::WorkThread) {
        world.timerBody = body;
        world.timer = argument;
    }
    return true;
}

time_t __wrap_time(time_t*) {
    return world.now;
}

void __wrap__Z5Sleepj(unsigned) {
    if (world.passesUntil != 0) {
        if (world.now++ == world.passesUntil || (world.hasFired && !world.hasEnded)) {
            throw EndOfTime();
        }
    } else if (world.isIdle) {
        HappenByItself(NextEvent("idle", std::string("S") + kByItself));
    }
}

int __wrap__ZN9CCurlHttp7PerformEP9CHttpData(CCurlHttp*, CHttpData* data) {
    static const std::map<std::string, std::string> bodies = Bodies();
    if (*data->szUrl == '\0' || world.failsAgain) {
        world.failsAgain = false;
        return CCurlHttp::kTransferFailed;
    }
    const char* word = strrchr(data->szUrl, '/') + 1;
    const std::string kind = kAnswers.count(word) != 0 ? word : "probe";
    CheckRequest(kind);
    // No portal takes a login without a ticket.
    const bool isRefused = kind == "auth" && world.engine->GetRecord().strTicket.IsEmpty();
    const std::string answers = isRefused ? "fim" : kAnswers.at(kind);
    char event = '\0';
    while (answers.find(event = NextEvent(kind, answers + kByItself)) == std::string::npos) {
        HappenByItself(event);
    }
    Note(kind, event);
    world.failsAgain = event == 'f' && kind != "probe";
    const auto code = kErrorCodes.find(event);
    const bool isPortals = code != kErrorCodes.end();
    data->retCode = isPortals || kind == "probe" ? 200 : 302;
    data->RespHead(Text(isPortals ? std::string("Server-Tag:s\r\nError-Code:") + code->second + "\r\n" : ""));
    data->RespData(Text(event == 'g' ? bodies.at(kind) : "-"));
    return event == 'f' ? CCurlHttp::kTransferFailed : CCurlHttp::kDone;
}

int __wrap__ZN10CZsmHelper6UpdateEPcm() {
    return 1;
}

// In the place of what sends statistics and finds addresses, and of what codes a text.
int SucceedAtOnce() {
    return 0;
}

char* CopyText(void*, const char* text) {
    return Text(text);
}

}  // extern "C"

namespace {

// All that decides how the history can go on. What waits is taken out.
std::string WhatIsLeft() {
    const CAuthConfig& record = world.engine->GetRecord();
    const Task& running = world.running;
    std::string left = world.place + running.tag.GetText();
    for (const int number :
         {int{running.curTask}, int{running.nextTask}, int{world.isTolerated}, int{world.stands},
          int{world.isLoggedOut}, int{world.wasOutside}, world.unasked, int{world.engine->GetNetState()},
          int{world.service->IsPortalEnv()}, record.iInterval, int{record.strTicket.IsEmpty()},
          int{record.strKeepUrl.IsEmpty()}}) {
        left += " " + std::to_string(number);
    }
    Task task;
    while (world.queue != nullptr && __real__ZN11QuorvaneSvr8CTaskMgr7GetTaskERNS_4TaskE(world.queue, task)) {
        left += "; " + std::to_string(task.curTask) + std::to_string(task.nextTask) + task.tag.GetText();
    }
    world.hasEnded = true;
    world.now = 0;
    PassTime();
    return left + world.waiting;
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
    std::string left = WhatIsLeft();
    if (world.place == "idle" && !world.hasNext) {
        world.found.insert("nothing left to do after " + world.lastAnswer);
    }
    return left;
}

}  // namespace

TEST(WorkLoop, KeepsItsPromisesInEveryOrderOfEvents) {
    CLog::GetInst()->SetLevel(ERROR);
    (void)mallopt(M_TRIM_THRESHOLD, INT_MAX);  // giving memory back after each history takes half of the time
    testing::internal::CaptureStdout();        // each start prints its line
    struct Continued {
        std::string history;
        size_t depth;
    };
    // From the start of the service, with a ticket, and logged in after the first pulse.
    std::deque<Continued> toTell = {{"", 0}, {"CTggTu", 0}, {"CTggTuLgTg", 0}};
    std::set<size_t> seen;
    std::map<std::string, std::string> found;  // what, and the shortest history
    size_t told = 0;
    for (; !toTell.empty(); toTell.pop_front(), ++told) {
        const auto [history, depth] = toTell.front();
        const bool isNew = seen.insert(std::hash<std::string>()(Tell(history))).second;
        for (const std::string& what : world.found) {
            found.emplace(what, history);
        }
        for (const char event : isNew&& depth < EXPLORED_DEPTH ? world.options : "") {
            toTell.push_back({history + event, depth + 1});
        }
    }
    (void)testing::internal::GetCapturedStdout();
    std::cout << told << " histories, " << seen.size() << " states\n";
    for (const auto& [what, history] : found) {
        std::cout << what << ": " << history << "\n";
        EXPECT_EQ(kLeftOpen.count(what), 1) << what << ": " << history;
    }
}

// Pushes servers into a resolver file and takes them out again; meanwhile others write it, writes fail and
// the process is killed. The user's text, in front of the first "|" of the input, comes back all the same.
#include <algorithm>
#include <sstream>

#include "Fuzz.h"
#include "MemoryFiles.h"
#include "NetHelper.h"
#include "PushedServers.h"

namespace {

std::string& file = memoryFiles[CNetHelper::kResolverFile];

struct Story {
    // Without a word to the run before.
    void Start() {
        servers.emplace([](auto& dns1, auto& dns2) { return CNetHelper().SetDNSServers(dns1, dns2); });
        CPushedServers::GiveBackRecorded();
    }
    // A text with none of our servers is the user's. Whose another one is, or one behind a failed write, is
    // open.
    void WriteAsOther(const std::string& words) {
        text = words;
        std::replace(text.begin(), text.end(), '~', '\n');
        isOpen = isOpen || hasFault;
        for (const CAutoString& server : CNetHelper::ServersIn(text)) {
            isOpen = isOpen || pushed.find(" " + server.GetText() + " ") != std::string::npos;
        }
        file = text;
    }
    void Tell(const std::string& line) {
        std::istringstream words(line);
        std::string what, first, second;
        words >> what >> first >> second;
        if (what == "push") {
            pushed += " " + first + " " + second + " ";
            (void)servers->Push(first, second);
        } else if (what == "fail" || what == "kill") {
            nextWriteFault = {atoi(first.c_str()) & 7, strtoul(second.c_str(), nullptr, 10), what == "kill"};
            hasFault = true;
        } else {
            what == "back"    ? servers->GiveBack()
            : what == "write" ? WriteAsOther(line.substr(std::min<size_t>(6, line.size())))
                              : Start();
        }
    }

    std::string text;    // to come back
    std::string pushed;  // all servers
    bool hasFault = false;
    bool isOpen = false;
    std::optional<CPushedServers> servers;
};

}  // namespace

void Try(std::string_view input) {
    Story story;
    file = story.text = Take(input, '|');
    memoryFiles.erase("resolver.former");
    for (story.Start(); !input.empty();) {
        try {
            story.Tell(Take(input));
        } catch (const Killed&) {
            story.Start();
        }
    }
    nextWriteFault.reset();
    story.servers->GiveBack();
    Require(story.isOpen || file == story.text);
}

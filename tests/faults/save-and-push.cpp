// What a kill must not damage, over and over until it comes: starts as the service does, says so with a line,
// and on a byte from standard input saves settings, replaces and loads the module, pushes servers and gives
// the file back.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "FileUtil.h"
#include "InfoCenter.h"
#include "NetHelper.h"
#include "PushedServers.h"
#include "SettingsKeys.h"
#include "ZsmHelper.h"

namespace {

constexpr char kModuleFile[] = "zxmAlogic.zxm";

std::string ReadFile(const char* path) {
    std::string content;
    return CFileUtil::ReadWholeFile(path, content) ? content : std::string();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return EXIT_FAILURE;
    }
    CPushedServers::GiveBackRecorded();
    CInfoCenter* settings = CInfoCenter::GetInst();
    settings->CompleteStart();
    CZsmHelper* module = CZsmHelper::GetInst();
    (void)module->Init(kModuleFile, nullptr, 0);
    CPushedServers pushed([](CAutoString& a, CAutoString& b) { return CNetHelper().SetDNSServers(a, b); });
    std::string containers[] = {ReadFile(argv[1]), ReadFile(argv[2])};
    char begin = 0;
    if (puts("started") < 0 || fflush(stdout) != 0 || read(STDIN_FILENO, &begin, 1) != 1) {
        return EXIT_FAILURE;
    }
    for (unsigned round = 0;; ++round) {
        std::string& container = containers[round % 2];
        (void)settings->SetLocalValue(SettingsKey::kTicket, std::to_string(round).c_str());
        (void)module->Update(&container[0], container.size());
        (void)pushed.Push("198.51.100.53", round % 2 != 0 ? "198.51.100.54" : "");
        module->FreeResult(module->Code("text"));
        settings->SyncLocalValue();
        pushed.GiveBack();
    }
}

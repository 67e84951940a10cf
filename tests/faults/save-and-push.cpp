// What a kill must not damage, over and over until it comes: starts as the service does, says so with a line,
// and on a byte from standard input saves settings, replaces the module, pushes servers, loads the module and
// gives the file back. Writes a letter as it begins with each, and ends at the first that does not work.

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

void Begin(char stage, bool hasLastWorked = true) {
    if (!hasLastWorked || write(STDOUT_FILENO, &stage, sizeof(stage)) != sizeof(stage)) {
        _exit(EXIT_FAILURE);
    }
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
        Begin('s');
        Begin('u', settings->SetLocalValue(SettingsKey::kTicket, std::to_string(round).c_str()));
        Begin('p', module->Update(containers[round % 2].data(), containers[round % 2].size()) == 1);
        Begin('l', pushed.Push("198.51.100.53", round % 2 != 0 ? "198.51.100.54" : "") == 0);
        char* coded = module->Code("text");
        Begin('s', coded != nullptr);
        module->FreeResult(coded);
        settings->SyncLocalValue();
        Begin('r');
        pushed.GiveBack();
    }
}

// Packs a shared object into the container file of an algorithm module, shows one, and unpacks it again.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "ModuleContainer.h"

namespace {

constexpr int kUsageStatus = 2;
constexpr char kUsage[] =
    "usage: zxmpack pack [--key-id ABC] [--key TEXT] --algorithm-id ID MODULE.so OUT.zxm\n"
    "       zxmpack show FILE.zxm\n"
    "       zxmpack unpack FILE.zxm OUT.so\n";
constexpr char kDefaultKeyId[] = "000";

using Arguments = std::vector<std::string>;

int Usage() {
    fputs(kUsage, stderr);
    return kUsageStatus;
}

int Fail(const std::string& subject, const std::string& what) {
    fprintf(stderr, "zxmpack: %s: %s\n", subject.c_str(), what.c_str());
    return 1;
}

bool ReadFile(const std::string& path, std::string& content) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return false;
    }
    char buffer[65536];
    while (file.read(buffer, sizeof(buffer)) || file.gcount() > 0) {
        content.append(buffer, static_cast<size_t>(file.gcount()));
    }
    return !file.bad();  // a folder opens, and fails here
}

bool WriteFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    return file.good();
}

// A container comes from elsewhere: what a terminal would obey is shown as "?".
std::string Printable(std::string text) {
    for (char& character : text) {
        if (character < ' ' || character > '~') {
            character = '?';
        }
    }
    return text;
}

// Reads and unpacks `path`; says on stderr what is wrong.
bool Load(const std::string& path, std::string& bytes, ModuleContainer& content) {
    std::string error = "cannot be read";
    if (ReadFile(path, bytes) && UnpackContainer(bytes, content, error)) {
        return true;
    }
    Fail(path, error);
    return false;
}

// Moves the options in front of the file names into `content`. False for an option that is unknown or that
// lacks its value.
bool TakeOptions(Arguments& arguments, ModuleContainer& content) {
    struct Option {
        const char* name;
        std::string ModuleContainer::*field;
    };
    constexpr Option kOptions[] = {
        {"--key-id", &ModuleContainer::keyId},
        {"--key", &ModuleContainer::key},
        {"--algorithm-id", &ModuleContainer::algorithmId},
    };
    while (!arguments.empty() && arguments[0].compare(0, 2, "--") == 0) {
        bool known = false;
        for (const Option& option : kOptions) {
            if (arguments[0] == option.name && arguments.size() > 1) {
                content.*option.field = arguments[1];
                known = true;
            }
        }
        if (!known) {
            return false;
        }
        arguments.erase(arguments.begin(), arguments.begin() + 2);
    }
    return true;
}

int Pack(Arguments arguments) {
    ModuleContainer content;
    content.keyId = kDefaultKeyId;
    if (!TakeOptions(arguments, content) || arguments.size() != 2) {
        return Usage();
    }
    if (!ReadFile(arguments[0], content.module)) {
        return Fail(arguments[0], "cannot be read");
    }
    std::string bytes;
    std::string error;
    if (!PackContainer(content, StreamEnd::kBySize, bytes, error)) {
        return Fail(arguments[0], error);
    }
    return WriteFile(arguments[1], bytes) ? 0 : Fail(arguments[1], "cannot be written");
}

// The key itself is not shown: it is a secret of the portal's.
int Show(Arguments arguments) {
    std::string bytes;
    ModuleContainer content;
    if (arguments.size() != 1) {
        return Usage();
    }
    if (!Load(arguments[0], bytes, content)) {
        return 1;
    }
    printf("key id:        %s\nkey:           %zu bytes\nalgorithm id:  %s\n",
           Printable(content.keyId).c_str(), content.key.size(), Printable(content.algorithmId).c_str());
    printf("module:        %zu bytes, packed %zu\n", content.module.size(), bytes.size());
    return 0;
}

int Unpack(Arguments arguments) {
    std::string bytes;
    ModuleContainer content;
    if (arguments.size() != 2) {
        return Usage();
    }
    if (!Load(arguments[0], bytes, content)) {
        return 1;
    }
    return WriteFile(arguments[1], content.module) ? 0 : Fail(arguments[1], "cannot be written");
}

struct Command {
    const char* name;
    int (*run)(Arguments arguments);
};
constexpr Command kCommands[] = {{"pack", Pack}, {"show", Show}, {"unpack", Unpack}};

}  // namespace

int main(int argc, char** argv) {
    for (const Command& command : kCommands) {
        if (argc > 1 && strcmp(argv[1], command.name) == 0) {
            return command.run(Arguments(argv + 2, argv + argc));
        }
    }
    if (argc > 1 && strcmp(argv[1], "--help") == 0) {
        fputs(kUsage, stdout);
        return 0;
    }
    return Usage();
}

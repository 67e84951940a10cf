#include "ResolverRecord.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "FileUtil.h"
#include "TextUtil.h"

namespace {

constexpr char kRecordFile[] = "resolver.former";
constexpr std::string_view kFirstLine = "resolver record 1\n";

// The texts of the record in the order of the file: each is its length in decimal, ":", its bytes and ",".
constexpr std::string ResolverRecord::*kTexts[] = {
    &ResolverRecord::former, &ResolverRecord::formerDNS1, &ResolverRecord::formerDNS2,
    &ResolverRecord::pushed, &ResolverRecord::before,     &ResolverRecord::left,
};

// Takes the first text off `rest`. False when there is no whole one.
bool TakeText(std::string_view& rest, std::string& text) {
    const size_t colon = rest.find(':');
    if (colon == std::string_view::npos) {
        return false;
    }
    const size_t length = strtoul(std::string(rest.substr(0, colon)).c_str(), nullptr, 10);
    rest.remove_prefix(colon + 1);
    if (length >= rest.size() || rest[length] != ',') {
        return false;
    }
    text = rest.substr(0, length);
    rest.remove_prefix(length + 1);
    return true;
}

}  // namespace

bool ResolverRecord::Save() const {
    std::string content(kFirstLine);
    for (const auto text : kTexts) {
        content += std::to_string((this->*text).size()) + ":" + this->*text + ",";
    }
    return CFileUtil::ReplaceFile(kRecordFile, content, WriteTo::kDisk);
}

std::optional<ResolverRecord> ResolverRecord::Load() {
    std::string content;
    if (!CFileUtil::ReadWholeFile(kRecordFile, content) || !StartsWith(content, kFirstLine)) {
        return std::nullopt;
    }
    std::string_view rest = content;
    rest.remove_prefix(kFirstLine.size());
    ResolverRecord record;
    for (const auto text : kTexts) {
        if (!TakeText(rest, record.*text)) {
            return std::nullopt;
        }
    }
    return record;
}

void ResolverRecord::Remove() {
    (void)unlink(kRecordFile);  // one that stays finds, the next time, nothing to give back
    RemoveLeftOvers();
}

void ResolverRecord::RemoveLeftOvers() {
    CFileUtil::RemoveLeftOvers(kRecordFile);
}

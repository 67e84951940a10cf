#include "PushedServers.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "FileUtil.h"
#include "Log.h"
#include "NetHelper.h"
#include "guard.h"

namespace {

// So many servers of one login are remembered; a portal that pushes others without end must not fill the
// disk.
constexpr size_t kMostServers = 64;

// So often a push makes way for somebody who writes the file at the same moment.
constexpr int kAttempts = 3;

constexpr char kBlanks[] = " \t\r\n\v\f";

// The address that the portal's text is, or an empty text: nothing else may become a line of the file.
CAutoString AddressIn(CAutoString text) {
    text.Trim();
    char bytes[sizeof(in6_addr)];
    const bool isAddress = inet_pton(AF_INET, text, bytes) == 1 || inet_pton(AF_INET6, text, bytes) == 1;
    return isAddress && CNetHelper().IsValidAddress(text) == 0 ? text : CAutoString();
}

bool Contains(const CStringArray& servers, const CAutoString& server) {
    return std::find(servers.begin(), servers.end(), server) != servers.end();
}

// Without a stream: the first one in the program would bring in half a megabyte of locales.
CStringArray WordsOf(const std::string& text) {
    CStringArray words;
    size_t end = 0;
    for (size_t word = 0; (word = text.find_first_not_of(kBlanks, end)) != std::string::npos;) {
        end = std::min(text.find_first_of(kBlanks, word), text.size());
        words.push_back(text.substr(word, end - word));
    }
    return words;
}

// `pushed` with two more servers, which may be empty, behind it.
std::string AddServers(const std::string& pushed, const CAutoString& dns1, const CAutoString& dns2) {
    CStringArray servers = WordsOf(pushed);
    for (const CAutoString& server : {dns1, dns2}) {
        servers.erase(std::remove(servers.begin(), servers.end(), server), servers.end());
        servers.push_back(server);
    }
    const size_t first = servers.size() > kMostServers ? servers.size() - kMostServers : 0;
    std::string text;
    for (size_t i = first; i < servers.size(); ++i) {
        text += servers[i].GetText() + " ";
    }
    return text;
}

// The servers that only the portal can have brought.
CStringArray PushedServersOf(const ResolverRecord& record) {
    CStringArray servers = WordsOf(record.pushed);
    const CStringArray own = CNetHelper::ServersIn(record.former);
    const auto isOwn = [&own](const CAutoString& server) { return Contains(own, server); };
    servers.erase(std::remove_if(servers.begin(), servers.end(), isOwn), servers.end());
    return servers;
}

bool HoldsPushedServer(const std::string& text, const ResolverRecord& record) {
    const CStringArray named = CNetHelper::ServersIn(text);
    const CStringArray pushed = PushedServersOf(record);
    return std::any_of(named.begin(), named.end(),
                       [&pushed](const CAutoString& server) { return Contains(pushed, server); });
}

// Whether the file is as this service left it. A process that is killed while it writes leaves the first
// bytes of the new text and the rest of the old one; none and all of the new one count as well.
bool IsAsLeft(const std::string& text, const ResolverRecord& record) {
    const std::string& next = record.left;
    const size_t common = std::min(text.size(), next.size());
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(common);
    const auto written =
        static_cast<size_t>(std::mismatch(text.begin(), end, next.begin()).first - text.begin());
    const bool isInterrupted =
        text.substr(written) == record.before.substr(std::min(written, record.before.size()));
    return !next.empty() && (text == next || isInterrupted);
}

// What a file becomes that somebody has rewritten and that still names a pushed server. The former servers
// can be such that they are not written one by one, 127.0.0.53 for example: then the former text is better
// than a file that names nobody.
std::string ExchangeServers(const std::string& text, const ResolverRecord& record) {
    const CStringArray pushed = PushedServersOf(record);
    CAutoString former1 = record.formerDNS1;
    CAutoString former2 = record.formerDNS2;
    std::string exchanged = CNetHelper::WithoutServers(CNetHelper().Rewrite(text, former1, former2), pushed);
    if (!CNetHelper::ServersIn(exchanged).empty()) {
        return exchanged;
    }
    const bool namedNobody = CNetHelper::ServersIn(record.former).empty();
    return namedNobody ? CNetHelper::WithoutServers(text, pushed) : record.former;
}

std::string TextToGiveBack(const std::string& text, const ResolverRecord& record) {
    if (IsAsLeft(text, record)) {
        return record.former;
    }
    return HoldsPushedServer(text, record) ? ExchangeServers(text, record) : text;
}

bool FileHolds(const std::string& expected) {
    std::string text;
    return CFileUtil::ReadWholeFile(CNetHelper::kResolverFile, text) && text == expected;
}

bool WriteFile(const std::string& text) {
    return CFileUtil::WriteOver(CNetHelper::kResolverFile, text, WriteTo::kDisk) == FileFault::kNone;
}

}  // namespace

// Never destroyed: it stays taken when the process ends.
MutexLock& CPushedServers::m_lock = *new MutexLock;

CPushedServers::CPushedServers(Writer write) : m_write(std::move(write)) {}

// The record comes first: whenever the process ends, the disk knows what the file was. That takes a moment,
// in which the file's manager may write it.
int CPushedServers::Push(CAutoString dns1, CAutoString dns2) {
    const CLockGuard<GLockObj> guard(m_lock);
    m_strDNS1 = AddressIn(dns1);
    m_strDNS2 = AddressIn(dns2);
    if (m_strDNS1.IsEmpty() && m_strDNS2.IsEmpty()) {
        return kNoServer;
    }
    RecallRecord();
    for (int attempt = 1;; ++attempt) {
        std::string text;
        if (!CFileUtil::ReadWholeFile(CNetHelper::kResolverFile, text)) {
            return errno;
        }
        const bool isAsLeft = m_record && IsAsLeft(text, *m_record);
        ResolverRecord next = DescribePush(text, isAsLeft);
        if (isAsLeft && next.left == text) {
            return 0;
        }
        if (!next.Save()) {
            const int failure = errno;
            CLog::GetInst()->WriteLog(ERROR, "no servers are pushed, the resolver file cannot be kept: %s",
                                      strerror(failure));
            return failure;
        }
        if (FileHolds(text) || attempt == kAttempts) {
            return Write(next, isAsLeft);
        }
    }
}

// Without one of our servers the file is somebody's newer one, and this is a first push again.
ResolverRecord CPushedServers::DescribePush(const std::string& text, bool isAsLeft) const {
    CAutoString former1 = m_strDNS1;
    CAutoString former2 = m_strDNS2;
    ResolverRecord record;
    record.left = CNetHelper().Rewrite(isAsLeft ? m_record->former : text, former1, former2);
    record.before = text;
    if (isAsLeft || (m_record && HoldsPushedServer(text, *m_record))) {
        record.former = m_record->former;
        record.formerDNS1 = m_record->formerDNS1;
        record.formerDNS2 = m_record->formerDNS2;
        record.pushed = AddServers(m_record->pushed, m_strDNS1, m_strDNS2);
        record.left = isAsLeft ? record.left : "";
    } else {
        record.former = text;
        record.formerDNS1 = former1.GetText();
        record.formerDNS2 = former2.GetText();
        record.pushed = AddServers("", m_strDNS1, m_strDNS2);
    }
    return record;
}

// A push over an earlier one is made from the user's text, as if it were the first; servers in a text that
// others had a hand in are written over where they stand.
int CPushedServers::Write(ResolverRecord& next, bool isAsLeft) {
    int failure = 0;
    if (isAsLeft) {
        failure = WriteFile(next.left) ? 0 : errno;
    } else {
        failure = m_write(m_strDNS1, m_strDNS2);
    }
    if (failure != 0 && FileHolds(next.before)) {
        Keep(m_record);
        return failure;
    }
    next.before = failure == 0 ? next.left : next.before;
    Keep(next);
    return failure;
}

// An earlier run, or this one at its start, may have been unable to give the file back.
void CPushedServers::RecallRecord() {
    if (!m_record) {
        m_record = ResolverRecord::Load();
    }
}

// Takes over what there is to give back from now on.
void CPushedServers::Keep(const std::optional<ResolverRecord>& record) {
    m_record = record;
    if (!m_record) {
        ResolverRecord::Remove();
        return;
    }
    m_strDNS1 = m_record->formerDNS1;
    m_strDNS2 = m_record->formerDNS2;
    (void)m_record->Save();  // what is on the disk already gives the file back, too
}

void CPushedServers::GiveBack() {
    const CLockGuard<GLockObj> guard(m_lock);
    RecallRecord();
    if (m_record && Undo(*m_record)) {
        Keep(std::nullopt);
    }
}

void CPushedServers::GiveBackRecorded() {
    const CLockGuard<GLockObj> guard(m_lock);
    ResolverRecord::RemoveLeftOvers();
    std::optional<ResolverRecord> record = ResolverRecord::Load();
    if (record && Undo(*record)) {
        ResolverRecord::Remove();
    }
}

void CPushedServers::GiveBackForGood() {
    m_lock.Lock();
    GiveBackRecorded();
}

// Whatever ends the process meanwhile, the next start goes on to the same text. False when it is to be tried
// again later; a file that is missing may yet come back with our servers in it.
bool CPushedServers::Undo(ResolverRecord& record) {
    std::string text;
    if (!CFileUtil::ReadWholeFile(CNetHelper::kResolverFile, text)) {
        return false;
    }
    const std::string target = TextToGiveBack(text, record);
    if (target == text) {
        return true;
    }
    record.former = target;
    record.before = text;
    record.left = target;
    (void)record.Save();  // a full disk is no reason to keep the user from his file
    if (!WriteFile(target)) {
        CLog::GetInst()->WriteLog(ERROR, "the resolver file cannot be given back: %s", strerror(errno));
        return false;
    }
    CLog::GetInst()->WriteLog(INFO, "the resolver file is given back");
    return true;
}

#pragma once

#include <functional>
#include <optional>
#include <string>

#include "AutoString.h"
#include "ResolverRecord.h"
#include "ptlock.h"

// The DNS servers that the portal has pushed into the resolver file, and what gives the user his own file
// back: its text before the first push, kept here and on the disk until the login ends.
//
// Push and GiveBack belong to the thread of the engine that owns the object; the static operations may be
// called from any thread. One lock for the whole process guards the resolver file and the record of it.
class CPushedServers {
  public:
    // Replaces servers of the resolver file and hands back the replaced ones, as CNetHelper::SetDNSServers
    // does, with its result.
    using Writer = std::function<int(CAutoString& dns1, CAutoString& dns2)>;

    // Result of a push without a server.
    static constexpr int kNoServer = -1;

    explicit CPushedServers(Writer write);

    // Puts `dns1` and `dns2` into the resolver file, over the servers of an earlier push that still stands;
    // the user's text stays the one before the first push. What is no address is not written, and when
    // neither is one nothing is touched. 0, kNoServer, or the errno of what failed: the file is then as it
    // was.
    int Push(CAutoString dns1, CAutoString dns2);
    // Takes the pushed servers out again, if there are any. A file that is still as the push left it gets its
    // former text. In one that somebody has rewritten the pushed servers are exchanged for the former ones,
    // unless that would leave none. One without a pushed server belongs to whoever wrote it.
    void GiveBack();

    // The same by the record on the disk: at the start for what an earlier run left behind, and at the end
    // for what this one would.
    static void GiveBackRecorded();
    // The same at the very end of the process: nothing is pushed afterwards, for the lock stays taken. A
    // second caller, on another thread, does not return.
    static void GiveBackForGood();

  private:
    ResolverRecord DescribePush(const std::string& text, bool isAsLeft) const;
    int Write(ResolverRecord& next, bool isAsLeft);
    void RecallRecord();
    void Keep(const std::optional<ResolverRecord>& record);
    static bool Undo(ResolverRecord& record);

    static MutexLock& m_lock;

    Writer m_write;
    CAutoString m_strDNS1;  // pushed by the portal; once written, the servers that stood there before
    CAutoString m_strDNS2;
    std::optional<ResolverRecord> m_record;  // of the push that stands
};

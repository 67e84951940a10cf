#pragma once

#include <map>

#include "AutoString.h"
#include "XMLOpt.h"
#include "ptlock.h"

// The named texts of the service: those of the settings file, which survive a restart, and those of this run.
// All operations but GetInst and Release may be called from any thread.
//
// The settings file is "conf/conf.xml" in the working folder. It is read once; from then on the document
// in memory counts, and each change writes the file anew. The installation ships it: without a file that can
// be read nothing is ever saved, and no error tells of it. One that is no document is mended when it is read.
//
// Only what later starts and logins cannot do without is forced to the disk: a login saves dozens of
// settings, and waiting for the disk each time would cost it more than all its exchanges with the portal. A
// power cut may therefore cost what was saved since the last login, and within a login some file systems
// leave a broken file.
class CInfoCenter {
  public:
    virtual ~CInfoCenter() = default;

    // Created, and the settings file read, on first use: during start-up, before any second thread exists.
    static CInfoCenter* GetInst();
    // Destroys the instance; nobody may be using it.
    static void Release();
    // The rest of a start, once the log is open and this is known to be the only instance in its folder:
    // writes to the log how the settings file had to be mended, and removes what an interrupted save left.
    void CompleteStart();

    // Reads the settings file at `path`. False when it cannot be read or parsed.
    bool LoadLocalValue(const char* path);
    // Values of the settings file. A key with dots names nested elements; a missing one reads as empty.
    CAutoString GetLocalValue(const char* key);
    // Saves the file at once, also for a value that it has. Returns whether the value could be set; a failing
    // save is not told. A new "clientId" is on the disk when the call returns, and all that was set before.
    bool SetLocalValue(const char* key, const char* value);
    // Saves the file once more, and waits until all that was set before is on the disk, as far as `target`
    // says: for the end of a start or of a login.
    void SyncLocalValue(WriteTo target = WriteTo::kDisk);

    // Values of this run. A key keeps the value that it was given first; of more than 320 keys the later ones
    // are not kept. Unknown keys read as empty.
    void SetValue(const char* key, const char* value);
    CAutoString GetValue(const char* key);
    // SetValue, and the same for the values that are announced to front ends.
    void SetGlobalValue(const char* key, const char* value);
    // Announces those values again, in the order of their keys.
    void SynchroGlobalValue();

    // Sends nothing: the announcements are made up and dropped. What front ends receive is sent by the portal
    // business.
    void PostMsg(const char* source, const char* target, const char* opcode, const char* parameters);
    // The store is not registered as a business and has no operations.
    virtual void InitOpcodeFun() {}

  private:
    bool IsNewClientId(const char* key, const char* value);
    void LoadOrMendLocalValue(const char* path);
    void Announce(const CAutoString& key, const CAutoString& value);

    static CInfoCenter* m_pInfoCenter;

    CAutoString m_strMended;  // what became of a broken settings file; set once, at the start
    std::map<CAutoString, CAutoString> m_dataMap;
    RWLock m_dataMapLock;
    std::map<CAutoString, CAutoString> m_globalDataMap;
    RWLock m_globalDataMapLock;
    CXMLOpt m_xmlOpt;
    MutexLock m_xmlLock;  // also for reading, which moves the document's cursors
};

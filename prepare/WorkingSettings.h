#pragma once

#include <string>

#include "ConfigFiles.h"
#include "XMLOpt.h"

// The settings file of the current folder while the service does not run. What the operations change is
// written by Save, and only when it differs from what was there.
class WorkingSettings {
  public:
    // Reads "conf/conf.xml". A missing one begins as the document at `defaults`, a broken one is mended as
    // the service would. False, and told on standard error, when there are no settings after that.
    bool Open(const char* defaults);

    // Empties the process id unless a service of that id runs. After a reboot the id of the last run often
    // belongs to some other process, and the service would take it for a running instance.
    void ForgetEndedProcess();
    // Empties what identifies this client to the portal, and what it had there, when the settings came from
    // a machine with another fingerprint; from now on they are this one's. An empty one changes nothing.
    void ForgetOtherMachine(const std::string& fingerprint);
    // Sets each of the values. What stood there before is remembered in the element "replaced", and comes
    // back once the value is set no more: a value written by hand, or the installed one.
    void Merge(const ConfigValues& values);

    // False, and told, when the file could not be written; it is then as it was.
    bool Save();

  private:
    bool Create(const char* defaults);
    ConfigValues ReadReplaced();
    void WriteReplaced(const ConfigValues& replaced);
    void Put(const std::string& key, const std::string& value);

    CXMLOpt m_document;
    bool m_isChanged = false;
};

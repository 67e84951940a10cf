#pragma once

#include <optional>
#include <string>

#include "Markup.h"

// An XML document whose elements are addressed by dotted paths, as the messages and the settings do. "P.user"
// is the child `user` of the child `P` of the root; the root's own name is not part of a path. At each level
// the first child of that name counts. Remembers the file that it was loaded from.
class CXMLOpt : public CMarkup {
  public:
    CXMLOpt() = default;
    // Asks of `text` what SetDoc does; IsWellFormed tells whether it was a document.
    explicit CXMLOpt(const char* text);

    // A file that cannot be loaded is not remembered, nor is the one before it: saving would destroy it.
    bool LoadFile(const char* path);
    // Back to the file of LoadFile. False when there is none, or as Save.
    bool SaveFile(WriteTo target = WriteTo::kCache) const;

    // Empty and 0 when the path leads nowhere; the number is read as atoi reads it.
    CAutoString GetValue(const char* path);
    int GetIntValue(const char* path);
    using CMarkup::GetDoc;
    // The element's complete markup; the whole document for a null path.
    CAutoString GetDoc(const char* path);
    // Missing elements along the path are created, each in front of its siblings. False without a root.
    bool SetValue(const char* path, const char* text);
    bool SetValue(const char* path, int number);

    // Make the addressed element the main position. False for an empty path and when the element does not
    // exist or cannot be created; the cursors then stand somewhere on the way.
    bool SetXMLPos(const char* path);
    bool CreateXMLPos(const char* path);

    // Not used by the service. The first step of a walk along a path, for texts of one's own.
    // Cuts `source` at its first "." into `head` and `rest`; without one `head` is all of it and the result
    // false. The texts may be the same object.
    static bool StringSplit(const CAutoString& source, CAutoString& head, CAutoString& rest);

  private:
    bool WalkPath(const char* path, bool create);

    std::optional<std::string> m_filename;
};

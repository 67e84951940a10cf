#pragma once

#include <string>
#include <string_view>

#include "AutoString.h"
#include "FileUtil.h"
#include "MarkupParser.h"

// An XML document held as text together with an index of its elements. It is walked with three cursors: the
// parent, the main and the child position; operations named "Child" work on the child position. Nothing
// recurses, and reading, walking and building cost time linear in the text, however hostile it is.
//
// Copies are deep. Not synchronised: walking moves the cursors, so one object belongs to one thread at a
// time. Texts are bytes; null counts as empty. Names and values in any encoding pass through untouched.
class CMarkup {
  public:
    enum MarkupDocFlags {
        MDF_UTF16LEFILE = 1,  // how the file was encoded, and is encoded again by Save
        MDF_UTF8PREAMBLE = 4,
        MDF_UTF16BEFILE = 128,
        MDF_IGNORECASE = 8,  // elements and attributes are found by their names in any case
        MDF_READFILE = 16,   // streamed mode: SetDoc and FindChildElem refuse, IsWellFormed returns true
        MDF_WRITEFILE = 32,  // likewise
        MDF_APPENDFILE = 64  // goes with MDF_WRITEFILE and changes nothing of that
    };
    enum MarkupNodeFlags {
        MNF_WITHCDATA = 1,       // the text becomes a CDATA section instead of being escaped
        MNF_WITHREFS = 8,        // an "&" that starts a reference is kept as it stands
        MNF_ESCAPEQUOTES = 256,  // quotes are escaped too
        // The rest is without effect: what is added has no lines and a start and an end tag.
        MNF_WITHNOLINES = 2,
        MNF_WITHXHTMLSPACE = 4,
        MNF_WITHNOEND = 16,
        MNF_INSERT = 8192,
        MNF_CHILD = 16384,
        MNF_NONENDED = 1048576,
        MNF_ILLDATA = 2097152
    };
    // Not used by the service. For programs that tell apart what stands in a document, as bits.
    enum MarkupNodeType {
        MNT_ELEMENT = 1,
        MNT_TEXT = 2,
        MNT_WHITESPACE = 4,
        MNT_TEXT_AND_WHITESPACE = 6,
        MNT_CDATA_SECTION = 8,
        MNT_PROCESSING_INSTRUCTION = 16,
        MNT_COMMENT = 32,
        MNT_DOCUMENT_TYPE = 64,
        MNT_EXCLUDE_WHITESPACE = 123,
        MNT_LONE_END_TAG = 128,
        MNT_NODE_ERROR = 32768
    };
    // Not used by the service. What an entry of the result log holds, as bits.
    enum MarkupResultCode {
        MRC_COUNT = 1,
        MRC_TYPE = 2,
        MRC_NUMBER = 4,
        MRC_ENCODING = 8,
        MRC_LENGTH = 16,
        MRC_MODIFY = 32,
        MRC_MSG = 64
    };

    CMarkup() = default;

    // Replaces the document and clears the cursors; a declared encoding is not looked at. False when `text`
    // is no well-formed document; it then has no elements, and GetDoc still returns the text.
    bool SetDoc(const char* text);
    CAutoString GetDoc() const;
    // Exactly one root element and no parse error.
    bool IsWellFormed() const;
    // What the last SetDoc or Load found to be wrong, in words; empty when that is nothing.
    CAutoString GetResult() const { return m_strResult; }

    // Reads a file as the document, in memory as UTF-8: a byte-order mark or else the encoding declaration
    // says what it is converted from. With an unknown encoding, or bytes that are not in it, the bytes stay
    // as they are; behind a mark of UTF-16 they are no document. False when the file cannot be read or is not
    // well formed.
    bool Load(const char* file);
    // Replaces the file as a whole by the document, encoded as Load found it or as the declaration says.
    bool Save(const char* file, WriteTo target = WriteTo::kCache) const;

    // Back to the document level, in front of the root.
    void ResetPos();
    void ResetChildPos() { m_iPosChild = 0; }
    // Moves the main position to the next sibling of that name, at document level to the root. Null matches
    // any name, the empty text none. The main position does not move when the result is false.
    bool FindElem(const char* name = nullptr);
    // The same for the child position among the children of the main position, which becomes the root first
    // if there is none.
    bool FindChildElem(const char* name = nullptr);
    // One level down: the child position becomes the main position. False without a main position.
    bool IntoElem();
    // The reverse. False when there is no parent position.
    bool OutOfElem();

    CAutoString GetTagName() const;
    // The text of the element without that of its children: references resolved, CDATA sections as they
    // stand, comments left out. An "&" that starts no reference is text.
    CAutoString GetData() const { return ElemData(m_iPos); }
    CAutoString GetChildData() const { return ElemData(m_iPosChild); }
    CAutoString GetAttrib(const char* name) const { return ElemAttrib(m_iPos, name); }
    CAutoString GetChildAttrib(const char* name) const { return ElemAttrib(m_iPosChild, name); }
    // From the start tag to the end tag, without white space around it.
    CAutoString GetSubDoc() const { return ElemSubDoc(m_iPos); }
    CAutoString GetChildSubDoc() const { return ElemSubDoc(m_iPosChild); }

    // The following return false, and add nothing, when `name` is no element name or the place is missing.
    // `flags` are MarkupNodeFlags. The Child operations take the root as main position if there is none.
    //
    // Behind the main position; without one, at the end of the current level. A second root is taken as well
    // and leaves a document that is not well formed.
    bool AddElem(const char* name, const char* data = nullptr, int flags = 0);
    // Behind the last child.
    bool AddChildElem(const char* name, const char* data = nullptr, int flags = 0);
    // In front of the child position, or in front of the first child. The new element becomes the child
    // position, so a row of calls lists the elements in reverse. That order travels to the portal and is what
    // its checksum covers. Held by MarkupEdit.RepeatedInsertsComeOutInReverse.
    bool InsertChildElem(const char* name, const char* data = nullptr, int flags = 0);
    // Behind the last child: the root element of `markup`, which must be well formed by itself.
    bool AddChildSubDoc(const char* markup);

    // Replaces the whole content of the element at the main position, its children too.
    bool SetData(const char* text, int flags = 0);
    bool SetData(int number);

    static CAutoString EscapeText(const char* text, int flags = 0);

    // Not used by the service. The way back, for values that are no element's; and MarkupDocFlags, of which
    // Load replaces those of the byte-order mark by what it finds in the file.
    static CAutoString UnescapeText(const char* text);
    void SetDocFlags(int flags) { m_nDocFlags = flags; }

  protected:
    // As the operations above, for names that are part of a longer text.
    bool FindChildNamed(std::string_view name);
    bool InsertChildNamed(std::string_view name, const char* data, int flags);

    // Not used by the service. Places for a second chain of free index entries, for a walk over more than
    // elements, for a document that is streamed from a file, and for positions that are kept; all of them
    // stay empty.
    uint32_t m_iPosDeleted = 0;
    int m_nNodeType = 0;
    int m_nNodeOffset = 0;
    int m_nNodeLength = 0;
    FILE* m_pFilePos = nullptr;
    void* m_pSavedPosMaps = nullptr;

  private:
    bool ParseDoc();
    bool IsStreamed() const { return (m_nDocFlags & (MDF_READFILE | MDF_WRITEFILE)) != 0; }
    void SetPos(uint32_t parent, uint32_t main, uint32_t child);
    bool EnsureMainPos() { return m_iPos != 0 || FindElem(); }
    bool IsSameName(std::string_view name, std::string_view wanted) const;
    uint32_t FindSibling(uint32_t elem, std::string_view name) const;
    std::string_view Name(uint32_t elem) const;
    CAutoString ElemData(uint32_t elem) const;
    CAutoString ElemAttrib(uint32_t elem, const char* name) const;
    CAutoString ElemSubDoc(uint32_t elem) const;

    // MarkupEdit.cpp
    std::string Compose(uint32_t top) const;
    void Compact();
    void StartEdit();
    void StartReplacing();
    bool KeepAdded(size_t begin);
    uint32_t NewElem(uint32_t parent, std::string_view name, const char* data, int flags);
    bool OpenEmptyElem(uint32_t elem);
    uint32_t Graft(const CMarkup& fragment);
    bool LinkChild(uint32_t elem, uint32_t next);
    void Link(uint32_t elem, uint32_t parent, uint32_t next);
    uint32_t TakePos();
    void FreeChildren(uint32_t elem);

    // The text as it was parsed, then the markup that edits added; the index says in which order they read.
    std::string m_strDoc;
    CAutoString m_strResult;
    ElemPosTree m_pElemPosTree = EmptyElemPosTree();
    MarkupParseResult m_parsed = MarkupParseResult::kNoRoot;
    bool m_bEdited = false;  // m_strDoc is not the document as it reads
    size_t m_nCompactAt = 0;
    uint32_t m_iPosParent = 0;
    uint32_t m_iPos = 0;
    uint32_t m_iPosChild = 0;
    uint32_t m_iPosFree = 0;  // chain of index entries to use again, along iElemNext
    int m_nDocFlags = 0;
};

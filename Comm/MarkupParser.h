#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One element of a document. All positions count bytes in the document's buffer, all element numbers are
// indexes into the tree; 0 means none, because number 0 is the document itself, whose children are the root
// and whatever else stands at top level.
//
// An element reads: gap, start tag, children, tail. The gap is what stands between the preceding tag and this
// element (text, comments), the tail is what stands behind the last child together with the end tag. Each of
// them is contiguous in the buffer, but after edits they need not lie one behind the other: what the document
// reads is what a walk along the links finds.
struct ElemPos {
    uint32_t iElemParent = 0;
    uint32_t iElemChild = 0;  // first child
    uint32_t iElemNext = 0;   // 0 at the last child
    uint32_t iElemPrev = 0;   // of the first child: the last one, so that appending is one step
    uint32_t nGap = 0;
    uint32_t nGapLength = 0;
    uint32_t nStart = 0;  // the "<" of the start tag; the name follows it
    uint32_t nNameLength = 0;
    uint32_t nContent = 0;  // behind the start tag
    uint32_t nTail = 0;
    uint32_t nEndTag = 0;  // the "<" of the end tag; equals nEnd when the start tag closes itself
    uint32_t nEnd = 0;
};
using ElemPosTree = std::vector<ElemPos>;

enum class MarkupParseResult { kParsed, kNoRoot, kMalformed };

// A tree of the document alone, with room for an envelope's elements.
ElemPosTree EmptyElemPosTree();

constexpr size_t kMaxMarkupLength = UINT32_MAX - 1;  // positions have 32 bits

// Builds the tree of `text` in one pass without recursion, in time linear in the text whatever it holds (only
// the names of more than a few attributes of one tag are sorted). Only kParsed leaves elements in the tree;
// otherwise it holds the document alone, whose tail is the whole text. Texts above kMaxMarkupLength count as
// malformed.
//
// Malformed is what leaves in doubt where something begins or ends: tags that do not pair, a second root,
// what is no name, attributes without a blank, an equals sign or quotes or with a name twice; comments,
// instructions, CDATA sections and a DOCTYPE that do not end or stand in the wrong place. The rest passes,
// though XML forbids it: characters it has not, references to nothing, "--" in a comment, "]]>" in a text,
// "<" in an attribute, text around the root, whatever stands in an XML declaration, and any name of bytes
// from 0x80 on.
MarkupParseResult ParseMarkup(const std::string& text, ElemPosTree& tree);

// True for a text that can be an element's name.
bool IsMarkupName(std::string_view name);

// Walks the attributes of a start tag. `position` is where the element's name ends, inside a NUL-terminated
// buffer that outlives the scanner.
class AttribScanner {
  public:
    explicit AttribScanner(const char* position) : m_position(position) {}

    // Steps to the next attribute; false at the end of the tag and at anything that is no attribute.
    bool Next();
    std::string_view Name() const { return m_name; }
    std::string_view RawValue() const { return m_value; }
    // After Next() has returned false: the place where it stopped, "/" or ">" in a sound tag.
    const char* Position() const { return m_position; }

  private:
    const char* m_position;
    std::string_view m_name;
    std::string_view m_value;
};

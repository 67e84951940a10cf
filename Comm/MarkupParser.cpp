// How the index of a document comes about: one pass over its text.
#include "MarkupParser.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "MarkupSyntax.h"
#include "TextUtil.h"

using namespace MarkupSyntax;

namespace {

// An envelope has about one element in this many bytes; a first guess that saves growing the tree.
constexpr size_t kBytesPerElement = 24;
constexpr size_t kElementsOfEnvelope = 16;
constexpr size_t kPairwiseAttributes = 8;  // up to here comparing each with each is fastest

// What hides brackets inside a DOCTYPE.
struct Opaque {
    std::string_view start;
    std::string_view end;
};
constexpr Opaque kOpaqueInDoctype[] = {
    {kCommentStart, kCommentEnd},
    {kInstructionStart, kInstructionEnd},
    {"\"", "\""},
    {"'", "'"},
};

constexpr uint8_t kNameStart = 1;
constexpr uint8_t kNameByte = 2;
constexpr uint8_t kSpace = 4;

// Bytes from 0x80 on belong to characters of any encoding. The second byte of a GB18030 character may be any
// of "@" to "~", so these are let into names too.
constexpr std::array<uint8_t, 256> MakeByteClasses() {
    std::array<uint8_t, 256> classes{};
    for (size_t byte = 0; byte < classes.size(); ++byte) {
        const bool letter = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || byte >= 0x80;
        if (letter || byte == '_' || byte == ':') {
            classes[byte] = kNameStart | kNameByte;
        } else if ((byte >= '@' && byte <= '~') || (byte >= '0' && byte <= '9') || byte == '-' ||
                   byte == '.') {
            classes[byte] = kNameByte;
        } else if (byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n') {
            classes[byte] = kSpace;
        }
    }
    return classes;
}
constexpr std::array<uint8_t, 256> kByteClasses = MakeByteClasses();

bool Is(char byte, uint8_t byteClass) {
    return (kByteClasses[static_cast<uint8_t>(byte)] & byteClass) != 0;
}

// The buffer ends in a NUL, which has no class, so the skipping stops there at the latest.
const char* SkipSpace(const char* position) {
    while (Is(*position, kSpace)) {
        ++position;
    }
    return position;
}

// Returns `position` itself when no name starts there.
const char* SkipName(const char* position) {
    if (!Is(*position, kNameStart)) {
        return position;
    }
    do {
        ++position;
    } while (Is(*position, kNameByte));
    return position;
}

std::string_view Between(const char* from, const char* to) {
    return {from, static_cast<size_t>(to - from)};
}

bool HasDuplicate(std::vector<std::string_view>& names) {
    std::sort(names.begin(), names.end());
    return std::adjacent_find(names.begin(), names.end()) != names.end();
}

class Parser {
  public:
    Parser(const std::string& text, ElemPosTree& tree)
        : m_begin(text.c_str()), m_end(m_begin + text.size()), m_tree(tree) {}
    MarkupParseResult Run();

  private:
    bool FindMarkup();
    bool OneMarkup();
    bool StartTag();
    bool EndTag();
    bool Attributes();
    bool Instruction();
    bool Declaration();
    bool Doctype();
    bool SkipPast(std::string_view start, std::string_view end);
    bool IsAt(std::string_view start) const { return StartsWith(Between(m_position, m_end), start); }
    void Close(uint32_t tail, uint32_t endTag);
    uint32_t Offset(const char* position) const { return static_cast<uint32_t>(position - m_begin); }

    const char* const m_begin;
    const char* const m_end;
    ElemPosTree& m_tree;
    const char* m_position = nullptr;  // the "<" at hand, then behind its markup
    uint32_t m_current = 0;            // the element whose content is being read
    uint32_t m_previous = 0;           // its child that was closed last
    uint32_t m_gap = 0;                // where the last tag ended
    std::vector<std::string_view> m_attributes;
};

MarkupParseResult Parser::Run() {
    m_tree.emplace_back();
    m_position = m_begin;
    while (FindMarkup()) {
        if (!OneMarkup()) {
            return MarkupParseResult::kMalformed;
        }
    }
    if (m_current != 0) {
        return MarkupParseResult::kMalformed;
    }
    if (m_tree.size() == 1) {
        return MarkupParseResult::kNoRoot;
    }
    m_tree[m_previous].iElemPrev = m_previous;  // the first child knows the last; the root is both
    m_tree[0].nTail = m_gap;
    m_tree[0].nEndTag = m_tree[0].nEnd = Offset(m_end);
    return MarkupParseResult::kParsed;
}

// Most tags follow the one before directly.
bool Parser::FindMarkup() {
    if (*m_position != '<') {
        m_position =
            static_cast<const char*>(memchr(m_position, '<', static_cast<size_t>(m_end - m_position)));
    }
    return m_position != nullptr;
}

bool Parser::OneMarkup() {
    switch (m_position[1]) {
        case '/': return EndTag();
        case '?': return Instruction();
        case '!': return Declaration();
        default: return StartTag();
    }
}

bool Parser::StartTag() {
    const char* const nameEnd = SkipName(m_position + 1);
    if (nameEnd == m_position + 1 || (m_current == 0 && m_tree.size() > 1)) {
        return false;
    }
    const auto elem = static_cast<uint32_t>(m_tree.size());
    ElemPos& pos = m_tree.emplace_back();
    pos.iElemParent = m_current;
    pos.iElemPrev = m_previous;
    pos.nGap = m_gap;
    pos.nStart = Offset(m_position);
    pos.nGapLength = pos.nStart - m_gap;
    pos.nNameLength = Offset(nameEnd) - pos.nStart - 1;
    (m_previous != 0 ? m_tree[m_previous].iElemNext : m_tree[m_current].iElemChild) = elem;
    m_current = elem;
    m_previous = 0;

    m_position = nameEnd;
    if (*m_position != '>' && !Attributes()) {
        return false;
    }
    const bool closesItself = *m_position == '/';
    if (closesItself) {
        ++m_position;
    }
    if (*m_position != '>') {
        return false;
    }
    m_gap = pos.nContent = Offset(++m_position);
    if (closesItself) {
        Close(m_gap, m_gap);
    }
    return true;
}

// Leaves the position at the first byte that belongs to no attribute.
bool Parser::Attributes() {
    AttribScanner scanner(m_position);
    m_attributes.clear();
    while (scanner.Next()) {
        if (m_attributes.size() < kPairwiseAttributes &&
            std::find(m_attributes.begin(), m_attributes.end(), scanner.Name()) != m_attributes.end()) {
            return false;
        }
        m_attributes.push_back(scanner.Name());
    }
    m_position = scanner.Position();
    return m_attributes.size() <= kPairwiseAttributes || !HasDuplicate(m_attributes);
}

bool Parser::EndTag() {
    const ElemPos& pos = m_tree[m_current];
    const char* const name = m_position + 2;
    const size_t length = pos.nNameLength;
    if (m_current == 0 || static_cast<size_t>(m_end - name) < length ||
        memcmp(name, m_begin + pos.nStart + 1, length) != 0) {
        return false;
    }
    const char* const close = SkipSpace(name + length);
    if (*close != '>') {
        return false;
    }
    const uint32_t endTag = Offset(m_position);
    m_position = close + 1;
    Close(m_gap, endTag);
    return true;
}

void Parser::Close(uint32_t tail, uint32_t endTag) {
    ElemPos& pos = m_tree[m_current];
    pos.nTail = tail;
    pos.nEndTag = endTag;
    pos.nEnd = m_gap = Offset(m_position);
    if (m_previous != 0) {
        m_tree[pos.iElemChild].iElemPrev = m_previous;
    }
    m_previous = m_current;
    m_current = pos.iElemParent;
}

bool Parser::Instruction() {
    return Is(m_position[2], kNameStart) && SkipPast(kInstructionStart, kInstructionEnd);
}

bool Parser::Declaration() {
    if (IsAt(kCommentStart)) {
        return SkipPast(kCommentStart, kCommentEnd);
    }
    if (IsAt(kCDataStart)) {
        return m_current != 0 && SkipPast(kCDataStart, kCDataEnd);
    }
    return IsAt(kDoctypeStart) && m_tree.size() == 1 && Doctype();
}

// The declarations inside a DOCTYPE are passed over, not read; they nest in it like brackets.
bool Parser::Doctype() {
    size_t depth = 0;
    do {
        const auto* opaque = std::find_if(std::begin(kOpaqueInDoctype), std::end(kOpaqueInDoctype),
                                          [this](const Opaque& row) { return IsAt(row.start); });
        if (opaque != std::end(kOpaqueInDoctype)) {
            if (!SkipPast(opaque->start, opaque->end)) {
                return false;
            }
            continue;
        }
        depth += *m_position == '<' ? 1 : 0;
        depth -= *m_position == '>' ? 1 : 0;
        ++m_position;
    } while (depth > 0 && m_position < m_end);
    return depth == 0;
}

bool Parser::SkipPast(std::string_view start, std::string_view end) {
    const char* const body = m_position + start.size();
    const std::string_view rest = Between(body, m_end);
    const size_t found = rest.find(end);
    if (found == std::string_view::npos) {
        return false;
    }
    m_position = body + found + end.size();
    return true;
}

}  // namespace

ElemPosTree EmptyElemPosTree() {
    ElemPosTree tree;
    tree.reserve(kElementsOfEnvelope);
    tree.emplace_back();
    return tree;
}

MarkupParseResult ParseMarkup(const std::string& text, ElemPosTree& tree) {
    tree.clear();
    MarkupParseResult result = MarkupParseResult::kMalformed;
    if (text.size() <= kMaxMarkupLength) {
        tree.reserve(text.size() / kBytesPerElement + 4);
        result = Parser(text, tree).Run();
    }
    if (result != MarkupParseResult::kParsed) {
        tree.assign(1, ElemPos());
        tree[0].nEndTag = tree[0].nEnd = static_cast<uint32_t>(std::min(text.size(), kMaxMarkupLength));
    }
    return result;
}

bool IsMarkupName(std::string_view name) {
    return !name.empty() && Is(name[0], kNameStart) &&
           std::all_of(name.begin(), name.end(), [](char byte) { return Is(byte, kNameByte); });
}

bool AttribScanner::Next() {
    const char* const name = SkipSpace(m_position);
    const bool separated = name != m_position;
    m_position = name;
    const char* const nameEnd = SkipName(name);
    if (!separated || nameEnd == name) {
        return false;
    }
    const char* const equals = SkipSpace(nameEnd);
    if (*equals != '=') {
        return false;
    }
    const char* const quote = SkipSpace(equals + 1);
    if (*quote != '"' && *quote != '\'') {
        return false;
    }
    const char* const valueEnd = strchr(quote + 1, *quote);
    if (valueEnd == nullptr) {
        return false;
    }
    m_name = Between(name, nameEnd);
    m_value = Between(quote + 1, valueEnd);
    m_position = valueEnd + 1;
    return true;
}

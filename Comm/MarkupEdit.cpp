// The document as it is changed. New markup is added at the end of the buffer and linked into the index, so
// an edit costs no more than its own text; the document is put together when it is asked for.
#include <utility>

#include "Markup.h"
#include "MarkupText.h"
#include "TextUtil.h"

namespace {

constexpr std::string_view kSelfClose = "/>";
// Space for replaced texts before the buffer is put in order; keeps small documents from doing it often.
constexpr size_t kCompactSlack = 16 * 1024;
constexpr size_t kEditReserve = 512;  // a request document of a dozen values

// Copies pieces of a buffer one behind the other, neighbours in one go.
class PieceWriter {
  public:
    PieceWriter(const std::string& buffer, size_t expected) : m_buffer(buffer) {
        m_written.reserve(expected);
    }

    // Returns where the piece begins in the result.
    uint32_t Append(uint32_t from, uint32_t to) {
        if (from != m_to) {
            Flush();
            m_from = from;
        }
        const size_t begin = m_written.size() + (from - m_from);
        m_to = to;
        return static_cast<uint32_t>(begin);
    }

    std::string Finish() {
        Flush();
        return std::move(m_written);
    }

  private:
    void Flush() { m_written.append(m_buffer, m_from, m_to - m_from); }

    const std::string& m_buffer;
    std::string m_written;
    uint32_t m_from = 0;
    uint32_t m_to = 0;
};

// Calls enter(elem) in front of an element's children and leave(elem) behind them, for `top` and all below.
template <typename Enter, typename Leave>
void Walk(const ElemPosTree& tree, uint32_t top, Enter enter, Leave leave) {
    uint32_t elem = top;
    for (;;) {
        enter(elem);
        if (tree[elem].iElemChild != 0) {
            elem = tree[elem].iElemChild;
            continue;
        }
        leave(elem);
        while (elem != top && tree[elem].iElemNext == 0) {
            elem = tree[elem].iElemParent;
            leave(elem);
        }
        if (elem == top) {
            return;
        }
        elem = tree[elem].iElemNext;
    }
}

void AppendData(std::string& result, const char* data, int flags) {
    const std::string_view text = OrEmpty(data);
    if ((flags & CMarkup::MNF_WITHCDATA) != 0) {
        AppendCData(result, text);
    } else {
        AppendEscaped(result, text, flags);
    }
}

}  // namespace

// The document as it reads, or with `top` one element of it.
std::string CMarkup::Compose(uint32_t top) const {
    PieceWriter writer(m_strDoc, top == 0 ? m_strDoc.size() : 0);
    Walk(
        m_pElemPosTree, top,
        [&](uint32_t elem) {
            const ElemPos& pos = m_pElemPosTree[elem];
            if (elem != top) {
                writer.Append(pos.nGap, pos.nGap + pos.nGapLength);
            }
            writer.Append(pos.nStart, pos.nContent);
        },
        [&](uint32_t elem) { writer.Append(m_pElemPosTree[elem].nTail, m_pElemPosTree[elem].nEnd); });
    return writer.Finish();
}

// Puts the buffer in order and drops what no element reads any more; the cursors stay valid.
void CMarkup::Compact() {
    PieceWriter writer(m_strDoc, m_strDoc.size());
    Walk(
        m_pElemPosTree, 0,
        [&](uint32_t elem) {
            ElemPos& pos = m_pElemPosTree[elem];
            pos.nGap = writer.Append(pos.nGap, pos.nGap + pos.nGapLength);
            const uint32_t start = writer.Append(pos.nStart, pos.nContent);
            pos.nContent = start + (pos.nContent - pos.nStart);
            pos.nStart = start;
        },
        [&](uint32_t elem) {
            ElemPos& pos = m_pElemPosTree[elem];
            const uint32_t tail = writer.Append(pos.nTail, pos.nEnd);
            pos.nEndTag = tail + (pos.nEndTag - pos.nTail);
            pos.nEnd = tail + (pos.nEnd - pos.nTail);
            pos.nTail = tail;
        });
    m_strDoc = writer.Finish();
    m_bEdited = false;
}

void CMarkup::StartEdit() {
    if (!m_bEdited) {
        m_nCompactAt = 2 * m_strDoc.size() + kCompactSlack;
        m_strDoc.reserve(m_strDoc.size() + kEditReserve);
        m_bEdited = true;
    }
}

// For edits that leave texts behind. The limit grows with the document, so that putting it in order costs
// each edit a constant share.
void CMarkup::StartReplacing() {
    if (m_bEdited && m_strDoc.size() >= m_nCompactAt) {
        Compact();
    }
    StartEdit();
}

// Positions have 32 bits: markup added from `begin` on that does not fit is taken away again.
bool CMarkup::KeepAdded(size_t begin) {
    if (m_strDoc.size() <= kMaxMarkupLength) {
        return true;
    }
    m_strDoc.resize(begin);
    return false;
}

bool CMarkup::AddElem(const char* name, const char* data, int flags) {
    if (m_parsed == MarkupParseResult::kMalformed) {
        return false;
    }
    const uint32_t elem = NewElem(m_iPosParent, OrEmpty(name), data, flags);
    if (elem == 0) {
        return false;
    }
    Link(elem, m_iPosParent, m_iPos != 0 ? m_pElemPosTree[m_iPos].iElemNext : 0);
    SetPos(m_iPosParent, elem, 0);
    return true;
}

bool CMarkup::AddChildElem(const char* name, const char* data, int flags) {
    return EnsureMainPos() && LinkChild(NewElem(m_iPos, OrEmpty(name), data, flags), 0);
}

bool CMarkup::InsertChildElem(const char* name, const char* data, int flags) {
    return InsertChildNamed(OrEmpty(name), data, flags);
}

bool CMarkup::InsertChildNamed(std::string_view name, const char* data, int flags) {
    if (!EnsureMainPos()) {
        return false;
    }
    const uint32_t next = m_iPosChild != 0 ? m_iPosChild : m_pElemPosTree[m_iPos].iElemChild;
    return LinkChild(NewElem(m_iPos, name, data, flags), next);
}

bool CMarkup::AddChildSubDoc(const char* markup) {
    CMarkup fragment;
    if (!fragment.SetDoc(markup) || !EnsureMainPos()) {
        return false;
    }
    StartReplacing();
    return OpenEmptyElem(m_iPos) && LinkChild(Graft(fragment), 0);
}

bool CMarkup::SetData(const char* text, int flags) {
    if (m_iPos == 0) {
        return false;
    }
    StartReplacing();
    if (!OpenEmptyElem(m_iPos)) {
        return false;
    }
    ElemPos& pos = m_pElemPosTree[m_iPos];
    const size_t begin = m_strDoc.size();
    AppendData(m_strDoc, text, flags);
    const size_t endTag = m_strDoc.size();
    m_strDoc.append(m_strDoc, pos.nEndTag, pos.nEnd - pos.nEndTag);
    if (!KeepAdded(begin)) {
        return false;
    }
    FreeChildren(m_iPos);
    m_iPosChild = 0;
    pos.nTail = static_cast<uint32_t>(begin);
    pos.nEndTag = static_cast<uint32_t>(endTag);
    pos.nEnd = static_cast<uint32_t>(m_strDoc.size());
    return true;
}

bool CMarkup::SetData(int number) {
    return SetData(std::to_string(number).c_str());
}

// Adds the markup of a new element that is to go below `parent`, not yet linked. 0 when that is refused.
uint32_t CMarkup::NewElem(uint32_t parent, std::string_view name, const char* data, int flags) {
    if (!IsMarkupName(name)) {
        return 0;
    }
    StartEdit();
    if (!OpenEmptyElem(parent)) {
        return 0;
    }
    const size_t begin = m_strDoc.size();
    m_strDoc.append("<").append(name).append(">");
    const size_t content = m_strDoc.size();
    AppendData(m_strDoc, data, flags);
    const size_t endTag = m_strDoc.size();
    m_strDoc.append("</").append(name).append(">");
    if (!KeepAdded(begin)) {
        return 0;
    }
    const uint32_t elem = TakePos();
    ElemPos& pos = m_pElemPosTree[elem];
    pos.nStart = static_cast<uint32_t>(begin);
    pos.nNameLength = static_cast<uint32_t>(name.size());
    pos.nContent = pos.nTail = static_cast<uint32_t>(content);
    pos.nEndTag = static_cast<uint32_t>(endTag);
    pos.nEnd = static_cast<uint32_t>(m_strDoc.size());
    return elem;
}

// An element whose start tag closes itself gets an end tag, so that it can take content.
bool CMarkup::OpenEmptyElem(uint32_t elem) {
    ElemPos& pos = m_pElemPosTree[elem];
    if (elem == 0 || pos.nEndTag != pos.nEnd) {
        return true;
    }
    const size_t begin = m_strDoc.size();
    m_strDoc.append(m_strDoc, pos.nStart, pos.nContent - pos.nStart - kSelfClose.size()).append(">");
    const size_t content = m_strDoc.size();
    m_strDoc.append("</").append(m_strDoc, begin + 1, pos.nNameLength).append(">");
    if (!KeepAdded(begin)) {
        return false;
    }
    pos.nStart = static_cast<uint32_t>(begin);
    pos.nContent = pos.nTail = pos.nEndTag = static_cast<uint32_t>(content);
    pos.nEnd = static_cast<uint32_t>(m_strDoc.size());
    return true;
}

// Takes over the root of `fragment` with all below it, not yet linked.
uint32_t CMarkup::Graft(const CMarkup& fragment) {
    const ElemPosTree& source = fragment.m_pElemPosTree;
    const size_t begin = m_strDoc.size();
    m_strDoc += fragment.m_strDoc;
    if (!KeepAdded(begin)) {
        return 0;
    }
    std::vector<uint32_t> moved(source.size());
    for (size_t index = 1; index < source.size(); ++index) {
        moved[index] = TakePos();
    }
    const auto shift = static_cast<uint32_t>(begin);
    for (size_t index = 1; index < source.size(); ++index) {
        ElemPos pos = source[index];
        for (uint32_t* link : {&pos.iElemParent, &pos.iElemChild, &pos.iElemNext, &pos.iElemPrev}) {
            *link = moved[*link];
        }
        for (uint32_t* place : {&pos.nGap, &pos.nStart, &pos.nContent, &pos.nTail, &pos.nEndTag, &pos.nEnd}) {
            *place += shift;
        }
        m_pElemPosTree[moved[index]] = pos;
    }
    const uint32_t root = moved[source[0].iElemChild];
    m_pElemPosTree[root].nGapLength = 0;
    return root;
}

// Makes an element that was added the child position, in front of `next`, or behind the last child when that
// is 0. False for `elem` 0, which was refused.
bool CMarkup::LinkChild(uint32_t elem, uint32_t next) {
    if (elem != 0) {
        Link(elem, m_iPos, next);
        m_iPosChild = elem;
    }
    return elem != 0;
}

// In front of `next`, a child of `parent`; behind the last child when that is 0. What stood in front of
// `next`, or in an element without children, stays in front of the new element.
//
// Backwards the children are a ring, for the first one names the last. A new last child stands in front of
// the first one in it, so whether it is `next` or the first child that follows, the same links are set.
void CMarkup::Link(uint32_t elem, uint32_t parent, uint32_t next) {
    ElemPos& pos = m_pElemPosTree[elem];
    ElemPos& above = m_pElemPosTree[parent];
    const uint32_t first = above.iElemChild;
    pos.iElemParent = parent;
    pos.iElemNext = next;
    if (first == 0) {
        above.iElemChild = pos.iElemPrev = elem;
        pos.nGap = above.nTail;
        pos.nGapLength = above.nEndTag - above.nTail;
        above.nTail = above.nEndTag;
        return;
    }
    ElemPos& follower = m_pElemPosTree[next != 0 ? next : first];
    pos.iElemPrev = follower.iElemPrev;
    follower.iElemPrev = elem;
    (next == first ? above.iElemChild : m_pElemPosTree[pos.iElemPrev].iElemNext) = elem;
    if (next != 0) {
        pos.nGap = follower.nGap;
        pos.nGapLength = std::exchange(follower.nGapLength, 0);
    }
}

uint32_t CMarkup::TakePos() {
    const uint32_t elem = m_iPosFree;
    if (elem == 0) {
        m_pElemPosTree.emplace_back();
        return static_cast<uint32_t>(m_pElemPosTree.size() - 1);
    }
    m_iPosFree = m_pElemPosTree[elem].iElemNext;
    FreeChildren(elem);
    m_pElemPosTree[elem] = ElemPos();
    return elem;
}

// Puts the whole row of children in front of the chain of free entries, which it is chained like: the last
// child leads on to the first free entry. What is below them follows when they are taken out.
void CMarkup::FreeChildren(uint32_t elem) {
    const uint32_t first = std::exchange(m_pElemPosTree[elem].iElemChild, 0);
    if (first != 0) {
        m_pElemPosTree[m_pElemPosTree[first].iElemPrev].iElemNext = m_iPosFree;
        m_iPosFree = first;
    }
}

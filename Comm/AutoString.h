#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The owned, NUL-terminated text used for every text value of the service. Bytes are not interpreted: UTF-8
// and GB18030 both pass through untouched. Has value semantics and orders byte by byte (unsigned), so that it
// serves as a map key. Not synchronised: one object belongs to one thread at a time.
class CAutoString {
  public:
    CAutoString() = default;
    // `text` may be null, which means empty.
    CAutoString(const char* text);
    // Takes `length` bytes of `text`, which need not be terminated.
    CAutoString(const char* text, size_t length);
    CAutoString(std::string text);

    // The text itself; never null. Valid until the object changes.
    const char* GetBuffer() const { return m_strText.c_str(); }
    operator const char*() const { return m_strText.c_str(); }
    const std::string& GetText() const { return m_strText; }
    int GetLength() const { return static_cast<int>(m_strText.size()); }
    bool IsEmpty() const { return m_strText.empty(); }
    void Empty() { m_strText.clear(); }

    // Replaces the text by a printf-style result of any length; the arguments may point into this object.
    // A format that cannot be carried out leaves an empty text.
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Parts of the text. Positions outside the text are moved to its ends.
    CAutoString Mid(int first) const;
    CAutoString Mid(int first, int count) const;
    CAutoString Left(int count) const;

    // Positions count from 0; -1 means not found. An empty or null `text` is never found.
    int Find(const char* text, int start = 0) const;
    int Find(char character, int start = 0) const;

    // The following change the text in place. Trim removes white space at both ends, Insert returns the new
    // length, Replace the number of replacements. Only ASCII letters have a case.
    CAutoString& Trim();
    int Insert(int index, const char* text);
    int Replace(const char* oldText, const char* newText);
    CAutoString& MakeLower();

    // Below, at or above 0 as in strcmp; a null `text` counts as empty.
    int Compare(const char* text) const;
    int CompareNoCase(const char* text) const;

    CAutoString& operator+=(const CAutoString& text);
    CAutoString& operator+=(const char* text);
    CAutoString& operator+=(char character);

    friend CAutoString operator+(CAutoString left, const CAutoString& right) { return left += right; }
    friend CAutoString operator+(CAutoString left, const char* right) { return left += right; }
    friend CAutoString operator+(const char* left, const CAutoString& right) {
        return CAutoString(left) += right;
    }
    friend bool operator==(const CAutoString& left, const CAutoString& right) {
        return left.m_strText == right.m_strText;
    }
    friend bool operator==(const CAutoString& left, const char* right) { return left.Compare(right) == 0; }
    friend bool operator==(const char* left, const CAutoString& right) { return right.Compare(left) == 0; }
    friend bool operator!=(const CAutoString& left, const CAutoString& right) { return !(left == right); }
    friend bool operator!=(const CAutoString& left, const char* right) { return !(left == right); }
    friend bool operator!=(const char* left, const CAutoString& right) { return !(left == right); }
    friend bool operator<(const CAutoString& left, const CAutoString& right) {
        return left.m_strText < right.m_strText;
    }

    // Not used by the service. What completes a text class; as Left, Find and MakeLower above.
    CAutoString Right(int count) const;
    int ReverseFind(const char* text) const;
    int ReverseFind(char character) const;
    CAutoString& MakeUpper();

  private:
    std::string m_strText;
};

using CStringArray = std::vector<CAutoString>;

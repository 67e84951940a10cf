#pragma once

#include "comm.h"

// What goes to front ends and into the settings in place of a number: an empty text, for itoa returns the end
// of its digits. Front ends hear the key alone, and the next start reads 0. The digits of "connState" would
// make that start log out what this run left standing.
// Held by Reports.NumbersAreEmptyAndTextsEscapedOnce and Settings.KeepWhatTheNextRunStartsFrom.
class EmptiedNumber {
  public:
    explicit EmptiedNumber(int number) : m_text(itoa(number, m_digits, 10)) {}
    EmptiedNumber(const EmptiedNumber&) = delete;
    EmptiedNumber& operator=(const EmptiedNumber&) = delete;

    // Valid as long as the object.
    operator const char*() const { return m_text; }

  private:
    char m_digits[16];
    const char* m_text;
};

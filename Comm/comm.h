#pragma once

#include <sys/types.h>

#include <cstddef>

#include "AutoString.h"

using BOOL = int;           // 0 or 1
using UINT = unsigned int;  // seconds, where the service counts them

// Sleeps for the given number of milliseconds.
void Sleep(unsigned int milliseconds);

// Processor time that the process has used, in whole seconds.
UINT ProcessorSeconds();

// True for a mobile number: exactly 11 characters, all of them decimal digits.
bool IsTelNum(const char* text);

// Writes the decimal digits of a non-negative `value` and a NUL into `buffer` and returns the address of that
// NUL, not of the digits; `radix` is ignored. Whoever hands the result on hands on an empty text: the
// settings "connState" and "keepRetry" and the published "authType", "authDefautType" and "defaultAuth" are
// empty for that reason, and the front end and the next start of the service rely on it.
char* itoa(int value, char* buffer, int radix);

// Helpers without a state of their own.
class CommFunc {
  public:
    // Removes characters that occur in `characters` from the ends of `text`, in place: leading ones are
    // skipped by the returned pointer, trailing ones are overwritten with NULs.
    static char* Trim(char* text, const char* characters);

    // `text` as one word for the shell, whatever characters it has.
    static CAutoString ShellQuote(const char* text);

    // Current local time by strftime; at most 99 bytes.
    static CAutoString GetLocalTime(const char* format);

    // Not used by the service.
    // The sides of Trim alone, questions to the machine, and commands whose output does not matter.
    static char* TrimLeft(char* text, const char* characters);
    static char* TrimRight(char* text, const char* characters);
    // tolower/toupper in place over `length` characters; 0 means up to the NUL.
    static void MarkLower(char* text, size_t length);
    static void MarkUpper(char* text, size_t length);
    // Number of processors shifted left by `shift`; the unshifted count is determined once.
    static int ProcCount(int shift);
    // As CSimpleFile::RecuMkDir.
    static bool RecuMkDir(const char* path, mode_t mode, bool lastIsFile);
    // First line of what the shell command prints, trimmed, in `buffer`. Null when an argument is null or
    // empty or the command cannot be started; a command without output leaves an empty text.
    static char* GetShellLine(const char* command, char* buffer, size_t size);
    // Hardware address of the neighbour with the given IPv4 address: the fourth word that the arp command
    // prints. Of an arp that prints a header line first it is the header's word, so the caller has to know
    // its arp. The address is quoted before it reaches the shell. Returns the text in `buffer`, which is
    // empty when there is no such neighbour; null as GetShellLine does.
    static char* GetMacFromIPv4(const char* ip, char* buffer, size_t size);
    // Runs a shell command and waits for it. False when the shell could not run it (status 127).
    static bool ShellExecute(const char* command);
};

#include "comm.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "FileUtil.h"
#include "SimpleFile.h"
#include "TextUtil.h"

namespace {

constexpr size_t kTelephoneDigits = 11;
constexpr int kShellNotFound = 127;  // exit status of a shell that could not run the command

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

void ForEachCharacter(char* text, size_t length, int (*convert)(int)) {
    const size_t count = length == 0 ? strlen(text) : length;
    for (size_t i = 0; i < count; ++i) {
        text[i] = static_cast<char>(convert(static_cast<unsigned char>(text[i])));
    }
}

}  // namespace

void Sleep(unsigned int milliseconds) {
    usleep(milliseconds * 1000);
}

UINT ProcessorSeconds() {
    return static_cast<UINT>(clock() / CLOCKS_PER_SEC);
}

bool IsTelNum(const char* text) {
    if (text == nullptr || strlen(text) != kTelephoneDigits) {
        return false;
    }
    for (const char* character = text; *character != '\0'; ++character) {
        if (!IsDigit(*character)) {
            return false;
        }
    }
    return true;
}

char* itoa(int value, char* buffer, int /*radix*/) {
    return buffer + sprintf(buffer, "%d", value);
}

int CommFunc::ProcCount(int shift) {
    static const int count = [] {
        const long online = sysconf(_SC_NPROCESSORS_ONLN);
        return static_cast<int>(online >= 1 ? online : sysconf(_SC_NPROCESSORS_CONF));
    }();
    return count << shift;
}

bool CommFunc::RecuMkDir(const char* path, mode_t mode, bool lastIsFile) {
    return CSimpleFile::RecuMkDir(path, mode, lastIsFile);
}

char* CommFunc::Trim(char* text, const char* characters) {
    return TrimRight(TrimLeft(text, characters), characters);
}

char* CommFunc::TrimLeft(char* text, const char* characters) {
    return text + strspn(text, characters);
}

char* CommFunc::TrimRight(char* text, const char* characters) {
    size_t length = strlen(text);
    while (length > 0 && strchr(characters, text[length - 1]) != nullptr) {
        text[--length] = '\0';
    }
    return text;
}

void CommFunc::MarkLower(char* text, size_t length) {
    ForEachCharacter(text, length, tolower);
}

void CommFunc::MarkUpper(char* text, size_t length) {
    ForEachCharacter(text, length, toupper);
}

char* CommFunc::GetShellLine(const char* command, char* buffer, size_t size) {
    if (IsNullOrEmpty(command) || buffer == nullptr || size == 0) {
        return nullptr;
    }
    const CommandOwner pipe(popen(command, "re"));
    if (pipe == nullptr) {
        return nullptr;
    }
    if (fgets(buffer, static_cast<int>(size), pipe.get()) == nullptr) {
        buffer[0] = '\0';
    }
    return Trim(buffer, " \r\n\t");
}

char* CommFunc::GetMacFromIPv4(const char* ip, char* buffer, size_t size) {
    CAutoString command;
    command.Format("arp -n %s|awk '{print $4}'", ShellQuote(ip).GetBuffer());
    char* mac = GetShellLine(command, buffer, size);
    if (mac == nullptr || isxdigit(static_cast<unsigned char>(*mac)) != 0) {
        return mac;
    }
    buffer[0] = '\0';
    return buffer;
}

bool CommFunc::ShellExecute(const char* command) {
    const int status = system(command);
    return !(WIFEXITED(status) && WEXITSTATUS(status) == kShellNotFound);
}

CAutoString CommFunc::ShellQuote(const char* text) {
    CAutoString quoted = text;
    quoted.Replace("'", "'\\''");
    return "'" + quoted + "'";
}

CAutoString CommFunc::GetLocalTime(const char* format) {
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    char text[100];
    return CAutoString(text, strftime(text, sizeof(text), format, &local));
}

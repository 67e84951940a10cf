// Reads the input as an account file, and writes one with the name up to the first "|" and the password
// behind it. What is written is read back.
#include <sys/stat.h>

#include "AccountFile.h"
#include "Fuzz.h"
#include "TemporaryFolder.h"

constexpr char kFile[] = "account";

static void WriteAndRead(const Account& account) {
    ExitStatus status = ExitStatus::kDone;
    const bool isWritten = WriteAccountFile(kFile, account, status).empty();
    Require(isWritten || status == ExitStatus::kUsage);
    Require(!isWritten || ReadAccountFile(kFile).account == account);
}

void Try(std::string_view input) {
    static const TemporaryFolder folder;
    folder.Write(kFile, std::string(input));
    Require(chmod(kFile, S_IRUSR | S_IWUSR) == 0);
    const AccountReading reading = ReadAccountFile(kFile);
    Require(reading.account.has_value() == reading.fault.empty());
    WriteAndRead(reading.account.value_or(Account()));
    const std::string name = Take(input, '|');
    WriteAndRead({name, Secret(input)});
}

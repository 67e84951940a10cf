#include "MachineFingerprint.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <string_view>

#include "FileUtil.h"
#include "TextUtil.h"

namespace {

constexpr char kMachineIdFile[] = "/etc/machine-id";
constexpr size_t kIdLength = 32;  // hexadecimal digits and a line end; an image may hold "uninitialized"
constexpr std::string_view kPurpose =
    "QuorvaneSvr working folder";  // so that no other program's digest is ours

}  // namespace

std::string MachineFingerprint() {
    std::string id;
    if (!CFileUtil::ReadWholeFile(kMachineIdFile, id)) {
        return {};
    }
    id = id.substr(0, id.find('\n'));
    if (id.size() != kIdLength || id.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return {};
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    const bool made = HMAC(EVP_sha256(), id.data(), static_cast<int>(id.size()),
                           reinterpret_cast<const unsigned char*>(kPurpose.data()), kPurpose.size(), digest,
                           &length) != nullptr;
    return made ? ToHex(digest, length) : std::string();
}

// The statistics upload: two layers of encryption around one JSON record.
#include <cjson/cJSON.h>
#include <openssl/evp.h>

#include <memory>

#include "Pattern.h"
#include "RequestCheck.h"

namespace portal_sim {
namespace {

// Keys and initialisation vectors of the two layers, 16 ASCII bytes each.
struct Layer {
    const char* key;
    const char* vector;
};
constexpr Layer kBodyLayer = {"Qm7Tz2LwX9bKp4Rd", "H3vNc8YjW5sEa1Gu"};
constexpr Layer kTokenLayer = {"Lr6Df0PkM2xZq8Vb", "Ty4Ws9JnB7cUh3Ke"};

struct FixedHeader {
    const char* name;
    const char* value;
};
constexpr FixedHeader kHeaders[] = {
    {"accept", "text/javascript, text/html, application/xml, text/xml, */*"},
    {"content-type", "text/plain; charset=utf-8"},
    {"accept-encoding", "gzip, deflate"},
    {"connection", "close"},
    {"cache-control", "no-cache"},
};

// The members of the record in their order, and the form of each one's printed value.
struct Member {
    const char* name;
    const char* pattern;
};
constexpr Member kMembers[] = {
    {"account", "\".+\""},
    {"schoolid", "\".*\""},
    {"ostype", "2"},
    {"ipv4", R"("[0-9]{1,3}(\.[0-9]{1,3}){3}")"},
    {"brasip", "\".*\""},
    {"start", "\"[0-9]{4}(-[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}\""},
    {"stop", "\"[0-9]{4}(-[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}\""},
    {"up", R"("[0-9]+(\.[0-9]+)?(e\+[0-9]+)?")"},
    {"down", R"("[0-9]+(\.[0-9]+)?(e\+[0-9]+)?")"},
    {"stattype", "[02]"},
    {"timestamp", "[0-9]+"},
};

using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

std::string Print(const cJSON* json) {
    std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(json), cJSON_free);
    return text ? text.get() : "";
}

// Empty for anything but an even number of lower-case hexadecimal digits.
std::string BytesOf(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

// The clear text of lower-case hexadecimal digits; empty when they are none, or the padding is wrong.
std::string Decrypt(const std::string& hex, const Layer& layer) {
    if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return "";
    }
    const std::string cipher = BytesOf(hex);
    std::string clear(cipher.size() + EVP_MAX_BLOCK_LENGTH, '\0');
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                            EVP_CIPHER_CTX_free);
    auto bytes = [](auto* text) { return reinterpret_cast<const unsigned char*>(text); };
    auto* out = reinterpret_cast<unsigned char*>(clear.data());
    int size = 0;
    int rest = 0;
    const bool ok =
        EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, bytes(layer.key),
                           bytes(layer.vector)) &&
        EVP_DecryptUpdate(context.get(), out, &size, bytes(cipher.data()), static_cast<int>(cipher.size())) &&
        EVP_DecryptFinal_ex(context.get(), out + size, &rest);
    clear.resize(ok ? static_cast<size_t>(size + rest) : 0);
    return clear;
}

std::string CheckUploadHeaders(const Request& request) {
    for (const FixedHeader& row : kHeaders) {
        if (request.Header(row.name) != row.value) {
            return "the header " + std::string(row.name) + " is \"" + request.Header(row.name) + "\"";
        }
    }
    return "";
}

// The token out of the body; empty when the body does not hold exactly one.
std::string TokenOf(const std::string& body) {
    const Json envelope(cJSON_Parse(Decrypt(body, kBodyLayer).c_str()), cJSON_Delete);
    const cJSON* token = cJSON_GetObjectItemCaseSensitive(envelope.get(), "token");
    const bool fits = cJSON_GetArraySize(envelope.get()) == 1 && cJSON_IsString(token);
    return fits ? token->valuestring : "";
}

std::string ReadRecord(Request& request) {
    const Json record(cJSON_Parse(request.document.c_str()), cJSON_Delete);
    if (!cJSON_IsObject(record.get()) || Print(record.get()) != request.document) {
        return "the upload does not decrypt to an unformatted JSON object";
    }
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, record.get()) {
        request.elements.emplace_back(member->string,
                                      cJSON_IsString(member) ? member->valuestring : Print(member));
    }
    member = record->child;
    for (const Member& row : kMembers) {
        if (member == nullptr || std::string(member->string) != row.name) {
            return "the member \"" + std::string(row.name) + "\" is not in its place";
        }
        if (!Matches(Print(member), row.pattern)) {
            return "the member \"" + std::string(row.name) + "\" has the wrong form: " + Print(member);
        }
        member = member->next;
    }
    return member == nullptr ? "" : "the record has a member too many";
}

}  // namespace

void CheckStatistics(Request& request) {
    request.document = Decrypt(TokenOf(request.body), kTokenLayer);
    request.complaint = ReadRecord(request);
    const std::string headers = CheckUploadHeaders(request);
    if (!headers.empty()) {
        request.complaint = headers;
    }
}

}  // namespace portal_sim

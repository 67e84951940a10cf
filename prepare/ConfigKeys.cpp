#include "ConfigKeys.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <string>

#include "SettingsKeys.h"
#include "TextUtil.h"

namespace {

constexpr size_t kLongestVersion = 64;    // it travels in the head of every request
constexpr size_t kLongestHostName = 253;  // as name servers have it
constexpr int kLongestPulse = 86400;      // seconds; no portal keeps a login for a day without a pulse

bool IsVisible(char byte) {
    return byte > ' ' && byte <= '~';
}

bool IsLetterOrDigit(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9');
}

template <typename Allowed>
bool ConsistsOf(std::string_view text, Allowed allowed) {
    return std::all_of(text.begin(), text.end(), allowed);
}

bool IsVersion(std::string_view value) {
    return !value.empty() && value.size() <= kLongestVersion &&
           ConsistsOf(value, [](char byte) { return byte == ' ' || IsVisible(byte); });
}

bool IsWebAddress(std::string_view value) {
    if (!(StartsWith(value, "http://") || StartsWith(value, "https://")) || !ConsistsOf(value, IsVisible)) {
        return false;
    }
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> address(curl_url(), curl_url_cleanup);
    return curl_url_set(address.get(), CURLUPART_URL, std::string(value).c_str(), 0) == CURLUE_OK;
}

bool IsHostName(std::string_view value) {
    return !value.empty() && value.size() <= kLongestHostName && IsLetterOrDigit(value.front()) &&
           IsLetterOrDigit(value.back()) && value.find("..") == std::string_view::npos &&
           ConsistsOf(value, [](char byte) { return IsLetterOrDigit(byte) || byte == '-' || byte == '.'; });
}

bool IsFlag(std::string_view value) {
    return value == "0" || value == "1";
}

bool IsPulseInterval(std::string_view value) {
    int seconds = 0;
    const char* const end = value.data() + value.size();
    const auto [rest, fault] = std::from_chars(value.data(), end, seconds);
    return fault == std::errc() && rest == end && seconds >= 1 && seconds <= kLongestPulse;
}

bool IsMessageEngine(std::string_view value) {
    return value == MessageEngine::kWaiting || value == MessageEngine::kPolling;
}

constexpr char kAddressRule[] = "an address with http:// or https:// and without blanks";

}  // namespace

const ConfigKey kConfigKeys[kConfigKeyCount] = {
    {SettingsKey::kVersion, IsVersion, "1 to 64 printable ASCII characters"},
    {SettingsKey::kProbeUrl, IsWebAddress, kAddressRule},
    {SettingsKey::kProbeUrlIPv6, IsWebAddress, kAddressRule},
    {SettingsKey::kMarkerHost, IsHostName, "a host name"},
    {SettingsKey::kPulseFlag, IsFlag, "0 or 1"},
    {SettingsKey::kPulseInterval, IsPulseInterval, "a number from 1 to 86400"},
    {SettingsKey::kMessageEngine, IsMessageEngine, "waiting or polling"},
};

const ConfigKey* FindConfigKey(std::string_view name) {
    for (const ConfigKey& key : kConfigKeys) {
        if (name == key.name) {
            return &key;
        }
    }
    return nullptr;
}

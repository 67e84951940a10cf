#pragma once

#include "ClientOperations.h"
#include "PortalParser.h"
#include "SettingsKeys.h"

class CInfoCenter;

// The settings that fill a field of the record. A start reads all of them; a group is saved when the portal
// has just told it. A text lasts from one run to the next; a number is saved as an empty text
// (EmptiedNumber), so only one that was written by hand is ever read.
enum class RecordGroup {
    kSchool,   // the school network, as the heads of the answers to the probes name it
    kAccess,   // this client and its access controller, as a redirect's query names them
    kConfig,   // from the configuration document
    kTicket,   // from the answer to a ticket request
    kLogin,    // from the answer to a login or a state check
    kCluster,  // saved by CServerCluster
    kByHand,   // never saved: for those whom the portal's pulse interval does not suit
};

// One row for each setting; a new one is a new row, and a field in CAuthConfig. Within a group the order is
// that in which new settings come into the file; front ends are told the group kSchool in it.
struct SavedText {
    RecordGroup group;
    RecordText row;
};
struct SavedNumber {
    RecordGroup group;
    RecordNumber row;
};
inline constexpr SavedText kSavedTexts[] = {
    {RecordGroup::kSchool, {PublishedValue::kSchoolId, &CAuthConfig::schoolId}},
    {RecordGroup::kSchool, {PublishedValue::kDomain, &CAuthConfig::domain}},
    {RecordGroup::kSchool, {PublishedValue::kArea, &CAuthConfig::area}},
    {RecordGroup::kAccess, {"wlanuserip", &CAuthConfig::wlanuserip}},
    {RecordGroup::kAccess, {"wlanusermac", &CAuthConfig::wlanusermac}},
    {RecordGroup::kAccess, {"wlanacip", &CAuthConfig::wlancip}},
    {RecordGroup::kConfig, {"stateUrl", &CAuthConfig::strStateUrl}},
    {RecordGroup::kTicket, {SettingsKey::kTicket, &CAuthConfig::strTicket}},
    {RecordGroup::kLogin, {"termUrl", &CAuthConfig::strTermUrl}},
    {RecordGroup::kLogin, {"keepUrl", &CAuthConfig::strKeepUrl}},
    {RecordGroup::kCluster, {SettingsKey::kServers, &CAuthConfig::m_strServersIPv4}},
    {RecordGroup::kCluster, {SettingsKey::kServersIPv6, &CAuthConfig::m_strServersIPv6}},
};
inline constexpr SavedNumber kSavedNumbers[] = {
    {RecordGroup::kConfig, {"defaultAuth", &CAuthConfig::nDefaultAuth}},
    {RecordGroup::kLogin, {"keepRetry", &CAuthConfig::iKeepRetry}},
    {RecordGroup::kByHand, {SettingsKey::kPulseInterval, &CAuthConfig::fileInterval}},
    {RecordGroup::kByHand, {SettingsKey::kPulseFlag, &CAuthConfig::fileIntervalFlag}},
};

// Hands each text of the group to `visit`.
template <typename Visit>
void ForEachText(RecordGroup group, Visit visit) {
    for (const SavedText& saved : kSavedTexts) {
        if (saved.group == group) {
            visit(saved.row);
        }
    }
}

// Fills the fields of all rows from the settings.
void LoadRecord(CInfoCenter& settings, CAuthConfig& record);
// Saves the rows of one group, the numbers as empty texts.
void SaveRecord(CInfoCenter& settings, const CAuthConfig& record, RecordGroup group);

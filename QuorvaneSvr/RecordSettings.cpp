#include "RecordSettings.h"

#include <cstdlib>

#include "EmptiedNumber.h"
#include "InfoCenter.h"

void LoadRecord(CInfoCenter& settings, CAuthConfig& record) {
    for (const SavedText& text : kSavedTexts) {
        record.*text.row.field = settings.GetLocalValue(text.row.name);
    }
    for (const SavedNumber& number : kSavedNumbers) {
        record.*number.row.field = atoi(settings.GetLocalValue(number.row.name));
    }
}

void SaveRecord(CInfoCenter& settings, const CAuthConfig& record, RecordGroup group) {
    ForEachText(group,
                [&](const RecordText& text) { settings.SetLocalValue(text.name, record.*text.field); });
    for (const SavedNumber& number : kSavedNumbers) {
        if (number.group == group) {
            settings.SetLocalValue(number.row.name, EmptiedNumber(record.*number.row.field));
        }
    }
}

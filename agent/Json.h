#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <string>

// Owner of a JSON value and of all below it.
struct JsonDeleter {
    void operator()(cJSON* value) const { cJSON_Delete(value); }
};
using JsonOwner = std::unique_ptr<cJSON, JsonDeleter>;

inline JsonOwner NewJsonObject() {
    return JsonOwner(cJSON_CreateObject());
}

// Texts of a document are UTF-8; the caller converts what is not (InUtf8 of ReadableText.h).
inline void AddText(cJSON& object, const char* name, const std::string& text) {
    cJSON_AddStringToObject(&object, name, text.c_str());
}
// Null stands for a text that is empty.
inline void AddTextOrNull(cJSON& object, const char* name, const std::string& text) {
    text.empty() ? cJSON_AddNullToObject(&object, name)
                 : cJSON_AddStringToObject(&object, name, text.c_str());
}
// The text of a member; empty when it is missing or no text.
inline std::string TextOf(const cJSON* object, const char* name) {
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(object, name);
    return cJSON_IsString(member) ? member->valuestring : "";
}

// On one line, without a line feed.
inline std::string OneLine(const cJSON& value) {
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(&value), cJSON_free);
    return text != nullptr ? text.get() : "";
}

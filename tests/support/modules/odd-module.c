// A module without "FreeResult" that misbehaves in the way that its input names.
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

struct DecodeInfo {
    int ret;
    uint32_t size;
    unsigned char* data;
};
typedef void (*ResultCallback)(const char* unused, const char* text, struct DecodeInfo* info);

const char* Code(const char* text);
int Prepare(const char* keyId, const char* text, ResultCallback callback, struct DecodeInfo* info);

// "null" gives no text, "mode" the access mode of the file that this module was loaded from.
const char* Code(const char* text) {
    static char result[32];
    struct stat status;
    if (strcmp(text, "null") == 0) {
        return NULL;
    }
    if (strcmp(text, "mode") == 0 && stat("protect.so", &status) == 0) {
        snprintf(result, sizeof(result), "%o", (unsigned)(status.st_mode & 07777));
        return result;
    }
    return "odd";
}

int Prepare(const char* keyId, const char* text, ResultCallback callback, struct DecodeInfo* info) {
    const int secondCall = info->data != NULL;
    const char* longText = "a text that is longer than the first one";
    if (strcmp(text, "key id") == 0) {
        callback("", keyId, info);
    } else if (strcmp(text, "refused") == 0) {
        return 5;
    } else if (strcmp(text, "refused later") == 0) {
        callback("", "text", info);
        return secondCall ? 6 : 1;
    } else if (strcmp(text, "grows") == 0) {
        callback("", secondCall ? longText : "text", info);
    } else if (strcmp(text, "grows and repeats") == 0) {
        callback("", secondCall ? longText : "text", info);
        callback("", secondCall ? longText : "text", info);
    } else if (strcmp(text, "shrinks") == 0) {
        callback("", secondCall ? "text" : longText, info);
    } else if (strcmp(text, "no callback") == 0) {
        return 1;
    } else if (strcmp(text, "no record") == 0) {
        callback("", "text", NULL);
    } else if (strcmp(text, "null text") == 0) {
        callback("", NULL, info);
    } else if (strcmp(text, "unterminated") == 0 && secondCall) {
        memset(info->data, 'x', info->size);
    } else if (strcmp(text, "unterminated") == 0) {
        info->size = 4;
    } else if (strcmp(text, "huge") == 0) {
        info->size = UINT32_MAX;
    }
    return 1;
}

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
#define IS(name) (strcmp(text, name) == 0)
typedef void (*ResultCallback)(const char* unused, const char* text, struct DecodeInfo* info);

const char* Code(const char* text);
int Prepare(const char* keyId, const char* text, ResultCallback callback, struct DecodeInfo* info);

// "null" gives no text, "mode" the access mode of the file that this module was loaded from.
const char* Code(const char* text) {
    static char result[32];
    struct stat status;
    if (IS("mode") && stat("protect.so", &status) == 0) {
        snprintf(result, sizeof(result), "%o", (unsigned)(status.st_mode & 07777));
        return result;
    }
    return IS("null") ? NULL : "odd";
}

int Prepare(const char* keyId, const char* text, ResultCallback callback, struct DecodeInfo* info) {
    const int secondCall = info->data != NULL;
    if (IS("refused")) {
        return 5;
    }
    if (IS("unterminated") && secondCall) {
        memset(info->data, 'x', info->size);
    } else if (IS("unterminated") || IS("huge")) {
        info->size = IS("huge") ? UINT32_MAX : 4;
    } else {
        callback("",
                 IS("key id")      ? keyId
                 : IS("null text") ? NULL
                 : secondCall      ? "longer text"
                                   : "text",
                 info);
    }
    return 1;
}

#include "uuid32.h"

#include <sys/time.h>
#include <unistd.h>

#include <cassert>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr char kTemplate[] = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
constexpr char kFormat[] = "%08lx-%04x-%04x-%04x-%04x%08lx";

constexpr uint32_t kTimeOffset = 0x13814000;  // what a time of 0 counts as
constexpr uint32_t kTicksPerMicrosecond = 10;
constexpr uint32_t kVersionBits = 0x1000;   // of data3
constexpr uint32_t kMulticastBit = 0x0100;  // of the node: says that it is no network card's address
constexpr uint32_t kSequenceMask = 0x3FFF;
constexpr uint32_t kVariantBits = 0x8000;  // of the clock sequence

struct Generator {
    bool initialized = false;
    uint32_t timestamp = 0;
    uint32_t advance = 0;
    uint16_t clockseq = 0;
    uint16_t node_high = 0;
    uint32_t node_low = 0;
};

Generator g_generator;

// 0 on a system that has nothing random to give.
uint32_t RandomSeconds() {
    uint32_t seconds = 0;
    return getentropy(&seconds, sizeof(seconds)) == 0 ? seconds : 0;
}

// Counts in tenths of microseconds but moves on only once a millisecond, and wraps after seven minutes. The
// clock of each process is wrong by seconds of its own: node and clock sequence have the millisecond for
// their only source, so installations that make their identifier within the same one would all have the same.
// Held by Uuid.ProcessesThatStartTogetherMakeDifferentOnes.
uint32_t CurrentTime() {
    static const uint32_t shift = RandomSeconds();
    timeval now = {};
    gettimeofday(&now, nullptr);
    const auto seconds = static_cast<uint32_t>(now.tv_sec) + shift;
    const auto milliseconds = static_cast<uint32_t>(now.tv_usec / 1000);
    return (seconds * 1000000 + milliseconds * 1000) * kTicksPerMicrosecond + kTimeOffset;
}

void Initialise(uint32_t time) {
    const uint32_t random = pseudo_rand();
    g_generator.timestamp = time;
    g_generator.advance = 0;
    g_generator.clockseq = static_cast<uint16_t>(random >> 16);
    g_generator.node_high = static_cast<uint16_t>((random & 0xFFFF) | kMulticastBit);
    g_generator.node_low = pseudo_rand();
    g_generator.initialized = true;
}

// Returns the time for the next identifier. Within one tick the identifiers count on; when the time went
// backwards the clock sequence tells the new ones from the old.
uint32_t Advance(uint32_t time) {
    if (time == g_generator.timestamp) {
        return time + ++g_generator.advance;
    }
    if (time < g_generator.timestamp) {
        ++g_generator.clockseq;
    }
    g_generator.timestamp = time;
    g_generator.advance = 0;
    return time;
}

template <size_t count>
void Store(uint32_t value, uint8_t* bytes) {
    for (size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

template <size_t count>
uint32_t Load(const uint8_t* bytes) {
    uint32_t value = 0;
    for (size_t i = 0; i < count; ++i) {
        value |= static_cast<uint32_t>(bytes[i]) << (8 * i);
    }
    return value;
}

}  // namespace

uint32_t pseudo_rand() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    const auto milliseconds = static_cast<uint32_t>(now.tv_usec / 1000);
    srand(milliseconds ^ ((static_cast<uint32_t>(now.tv_sec) & 0xFFFF) + milliseconds));
    return static_cast<uint32_t>(rand());
}

void uuid_create(_uuid_t* uuid) {
    assert(uuid != nullptr);
    uint32_t time = CurrentTime();
    if (g_generator.initialized) {
        time = Advance(time);
    } else {
        Initialise(time);
    }
    uuid->data1 = time;
    uuid->data2 = static_cast<uint16_t>(time & 0xFFFF);
    uuid->data3 = static_cast<uint16_t>(((time >> 16) | kVersionBits) & 0xFFFF);
    Store<4>(g_generator.node_low, uuid->data4);
    Store<2>(g_generator.node_high, uuid->data4 + 4);
    Store<2>((g_generator.clockseq & kSequenceMask) | kVariantBits, uuid->data4 + 6);
}

const char* uuid_to_string(const _uuid_t* uuid) {
    static char text[sizeof(kTemplate)];
    snprintf(text, sizeof(text), kFormat, static_cast<unsigned long>(uuid->data1), uuid->data2, uuid->data3,
             Load<2>(uuid->data4 + 6), Load<2>(uuid->data4 + 4),
             static_cast<unsigned long>(Load<4>(uuid->data4)));
    return text;
}

const char* uuid_create_string() {
    _uuid_t uuid;
    uuid_create(&uuid);
    return uuid_to_string(&uuid);
}

bool is_uuid_string(const char* text) {
    for (const char* expected = kTemplate; *expected != '\0'; ++expected, ++text) {
        const bool fits =
            *expected == 'x' ? isxdigit(static_cast<unsigned char>(*text)) != 0 : *text == *expected;
        if (!fits) {
            return false;
        }
    }
    return true;
}

uint32_t uuid_to_timestamp(const _uuid_t* uuid) {
    return uuid->data1;
}

const char* timestamp_to_string(uint32_t timestamp) {
    static char text[sizeof("4294967295")];
    snprintf(text, sizeof(text), "%lu", static_cast<unsigned long>(timestamp));
    return text;
}

int uuid_compare(const _uuid_t* left, const _uuid_t* right) {
    const std::string leftText = uuid_to_string(left);  // copied, for the next call overwrites it
    return leftText.compare(uuid_to_string(right));
}

int uuid_compare_time(const _uuid_t* left, const _uuid_t* right) {
    const uint32_t leftTime = uuid_to_timestamp(left);
    const uint32_t rightTime = uuid_to_timestamp(right);
    return (leftTime > rightTime ? 1 : 0) - (leftTime < rightTime ? 1 : 0);
}

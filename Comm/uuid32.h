#pragma once

#include <cstdint>

// A time-and-node identifier. Not one of the standard versions: `data2` and `data3` repeat bits of the 32-bit
// time in `data1`, so what makes an identifier unique is the random node and clock sequence.
struct _uuid_t {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];  // node low (4 bytes), node high (2), clock sequence (2), each little-endian
};

// The generator keeps the last time, the clock sequence and the node of this process without a lock: only one
// thread may make identifiers at a time. The service makes at most one, at its start.

// Fills `uuid`, which must not be null, with an identifier that this process has not given before.
void uuid_create(_uuid_t* uuid);
// 36 characters: lower-case hexadecimal digits in the groups 8-4-4-4-12. The text is overwritten by the next
// call.
const char* uuid_to_string(const _uuid_t* uuid);
// A new identifier as such a text.
const char* uuid_create_string();
// Whether the first 36 characters of `text` have that form; digits of both cases count.
bool is_uuid_string(const char* text);

#pragma once

#include <cstdint>

// A time-and-node identifier. Not one of the standard versions: `data2` and `data3` repeat bits of the 32-bit
// time in `data1`, and the node and clock sequence follow from the millisecond in which a process makes its
// first one. What tells those of one millisecond apart is that each process counts the time from a moment of
// its own.
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
// A number between 0 and RAND_MAX. Seeds the C library's generator with the time of day first, so calls of
// one millisecond return the same.
uint32_t pseudo_rand();
// 36 characters: lower-case hexadecimal digits in the groups 8-4-4-4-12. The text is overwritten by the next
// call.
const char* uuid_to_string(const _uuid_t* uuid);

// Not used by the service. For whoever reads the client ids of installations.
//
// A new identifier as such a text.
const char* uuid_create_string();
// Whether the first 36 characters of `text` have that form; digits of both cases count.
bool is_uuid_string(const char* text);
// The time in the identifier: ticks of 0.1 microseconds since a moment that each process chooses by chance.
// Only 32 bits are kept, so that it starts again from 0 about every seven minutes.
uint32_t uuid_to_timestamp(const _uuid_t* uuid);
// The ticks as a decimal number. The text is overwritten by the next call.
const char* timestamp_to_string(uint32_t timestamp);
// Below, at or above 0 as their texts compare, which is by the time first.
int uuid_compare(const _uuid_t* left, const _uuid_t* right);
// The same by nothing but the times; which of two was made first it tells only between two new starts.
int uuid_compare_time(const _uuid_t* left, const _uuid_t* right);

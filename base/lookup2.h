#pragma once
// Hashes of the aggregation pools.
#include <cstddef>
#include <cstdint>

// Bob Jenkins' lookup2 over `length` bytes.
uint32_t lookup2(const void* key, size_t length, uint32_t initial);

// A text key: only its first 16 bytes enter the hash.
inline uint32_t text_hash(const void* text, size_t length)
{
    return lookup2(text, length < 16 ? length : 16, 0x20120303);
}

// An IPv4 key in host order.
inline uint32_t ipv4_hash(uint32_t ip)
{
    return (ip >> 16) + (ip & 0xffff);
}

// A 16-byte address key: the words at bytes 0 and 8 alone enter the hash.
uint32_t address_hash(const void* address);

#pragma once
// Hashes of the aggregation pools.
#include <cstddef>
#include <cstdint>
#include <cstring>

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

// Up to eight bytes as a little-endian number, read where they stand: bytes that are gathered in an array are
// waited for.
inline uint64_t number_of_bytes(const unsigned char* at, size_t count)
{
    if (count >= 4) {
        uint32_t first, last; // they may overlap
        memcpy(&first, at, sizeof first);
        memcpy(&last, at + count - 4, sizeof last);
        return first | uint64_t{last} << 8 * (count - 4);
    }
    if (count == 0)
        return 0;
    return at[0] | uint64_t{at[count / 2]} << 8 * (count / 2) | uint64_t{at[count - 1]} << 8 * (count - 1);
}

// Any bytes, each of which counts: eight at a time, multiplied. Inline, so that short keys of a fixed size
// cost one multiplication.
inline uint32_t byte_hash(const void* bytes, size_t size)
{
    constexpr uint64_t multiplier = 0x9e3779b97f4a7c15; // 2^64 over the golden ratio
    const auto* at = static_cast<const unsigned char*>(bytes);
    uint64_t hash = size;
    for (size_t left = size; left > 0;) {
        size_t piece = left < 8 ? left : 8;
        hash = (hash ^ number_of_bytes(at, piece)) * multiplier;
        hash ^= hash >> 32;
        at += piece;
        left -= piece;
    }
    return static_cast<uint32_t>(hash);
}

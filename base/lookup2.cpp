#include "base/lookup2.h"

#include <cstring>

namespace {

struct Registers {
    uint32_t a, b, c;
};

[[gnu::always_inline]] inline void mix(Registers& r)
{
    auto& [a, b, c] = r;
    a = (a - b - c) ^ (c >> 13);
    b = (b - c - a) ^ (a << 8);
    c = (c - a - b) ^ (b >> 13);
    a = (a - b - c) ^ (c >> 12);
    b = (b - c - a) ^ (a << 16);
    c = (c - a - b) ^ (b >> 5);
    a = (a - b - c) ^ (c >> 3);
    b = (b - c - a) ^ (a << 10);
    c = (c - a - b) ^ (b >> 15);
}

uint32_t word_at(const unsigned char* bytes)
{
    uint32_t word;
    memcpy(&word, bytes, sizeof word); // little-endian, as the host is
    return word;
}

} // namespace

uint32_t lookup2(const void* key, size_t length, uint32_t initial)
{
    constexpr uint32_t golden_ratio = 0x9e3779b9;
    constexpr size_t block = 12;
    const auto* bytes = static_cast<const unsigned char*>(key);
    Registers r{golden_ratio, golden_ratio, initial};
    size_t left = length;
    for (; left >= block; left -= block, bytes += block) {
        r.a += word_at(bytes);
        r.b += word_at(bytes + 4);
        r.c += word_at(bytes + 8);
        mix(r);
    }
    const uint64_t rest = number_of_bytes(bytes, left < 8 ? left : 8);
    const uint64_t end = left > 8 ? number_of_bytes(bytes + 8, left - 8) : 0;
    r.a += static_cast<uint32_t>(rest);
    r.b += static_cast<uint32_t>(rest >> 32);
    // The low byte of c belongs to the length.
    r.c += static_cast<uint32_t>(length + (end << 8));
    mix(r);
    return r.c;
}

uint32_t address_hash(const void* address)
{
    const auto* bytes = static_cast<const unsigned char*>(address);
    uint32_t sum = __builtin_bswap32(word_at(bytes) + word_at(bytes + 8));
    return (sum >> 16) ^ (sum & 0xffff);
}

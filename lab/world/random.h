#pragma once
// Random numbers that are the same on every platform.
#include <cstdint>

class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}

    uint64_t next()
    {
        uint64_t mixed = state_ += 0x9e3779b97f4a7c15u;
        mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9u;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebu;
        return mixed ^ (mixed >> 31);
    }
    uint32_t below(uint32_t end) // 0 to end - 1; 0 when end is 0
    {
        return static_cast<uint32_t>((next() >> 32) * end >> 32);
    }
    uint32_t between(uint32_t first, uint32_t last) { return first + below(last - first + 1); }
    bool chance(uint32_t in_a_thousand) { return below(1000) < in_a_thousand; }
    // Small numbers much more often than large ones.
    uint32_t skewed(uint32_t end)
    {
        uint64_t a = next() >> 32, b = next() >> 32, c = next() >> 32;
        return static_cast<uint32_t>(((a * b >> 32) * c >> 32) * end >> 32);
    }

private:
    uint64_t state_;
};

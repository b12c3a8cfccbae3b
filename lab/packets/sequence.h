#pragma once
// Which sequence numbers one direction of a TCP connection has carried.
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

class SequenceTracker {
public:
    // The first number that payload can have.
    void begin(uint32_t sequence);
    static constexpr size_t gaps_max = 64;
    // Notes a segment of `length` > 0 bytes; returns whether all of it had been seen before (a keep-alive,
    // which repeats the last byte alone, is not counted). With more losses at once than `gaps_most` the
    // oldest is taken as seen.
    bool add(uint32_t sequence, uint32_t length, size_t gaps_most = gaps_max);
    size_t gaps() const { return gaps_.size(); }

private:
    bool fill_gaps(uint32_t sequence, uint32_t end);

    bool begun_ = false;
    uint32_t start_ = 0, next_ = 0;                   // first number, and the one after the highest
    std::vector<std::pair<uint32_t, uint32_t>> gaps_; // not seen between them: first and end
};

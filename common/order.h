#pragma once
// Sorting of rows and pool entries: the larger key first, then the refining comparison, then arrival. Because
// the order is total, equal rows keep the order of arrival whatever algorithm sorts, and pages never overlap.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

// What is sorted in place of a row.
struct Ranked {
    uint64_t key;
    uint32_t arrival; // position in the order of arrival
    uint32_t slot;    // where the row is held
};

// Compares the rows held at two slots when their keys are equal: negative when `a` comes first, 0 when equal.
struct Refinement {
    int (*compare)(const void* context, uint32_t a, uint32_t b) = nullptr;
    const void* context = nullptr;
};

// Brings the first `wanted` of `rows` into order at the front; the rest stays behind them in no order.
void rank_first(std::span<Ranked> rows, size_t wanted, const Refinement& refinement);

// Puts the best `wanted` at the front in no order.
void select_first(std::span<Ranked> rows, size_t wanted, const Refinement& refinement);

bool ranks_before(const Ranked& a, const Ranked& b, const Refinement& refinement);

// The order of entries that stay where they are, in the caller's room for all of them.
class Ranking {
public:
    // Positions [0, end) are wanted.
    Ranking(std::span<Ranked> room, int64_t end);

    void offer(uint64_t key, uint32_t entry)
    {
        auto arrival = static_cast<uint32_t>(total_++);
        if (bounded_ && key <= least_key_)
            return;
        room_[held_++] = {.key = key, .arrival = arrival, .slot = entry};
        if (held_ == held_max_)
            drop_unreachable();
    }
    void rank(); // after the last offer

    size_t total() const { return total_; } // what was offered
    size_t held() const { return held_; }   // what is in order
    uint32_t operator[](size_t i) const { return room_[i].slot; }

private:
    void drop_unreachable();

    const std::span<Ranked> room_;
    const size_t wanted_, held_max_;
    size_t total_ = 0, held_ = 0;
    bool bounded_; // `least_key_` is known: what comes later and is not above it is not wanted
    uint64_t least_key_ = UINT64_MAX;
};

// Keys for orders that are not plain unsigned numbers.
inline uint64_t signed_key(int32_t value)
{
    return static_cast<uint32_t>(value) ^ 0x80000000U;
}

// A non-negative quotient compared in single precision.
inline uint64_t float_key(uint64_t value)
{
    auto single = static_cast<float>(value);
    uint32_t bits;
    memcpy(&bits, &single, sizeof bits);
    return bits;
}

inline uint64_t ascending_key(uint64_t value)
{
    return ~value;
}

#include "lab/packets/sequence.h"

// Whether `a` comes before `b` on the ring of sequence numbers.
static bool before(uint32_t a, uint32_t b)
{
    return static_cast<int32_t>(a - b) < 0;
}

void SequenceTracker::begin(uint32_t sequence)
{
    if (!begun_)
        start_ = next_ = sequence;
    begun_ = true;
}

bool SequenceTracker::add(uint32_t sequence, uint32_t length, size_t gaps_most)
{
    begin(sequence);
    uint32_t end = sequence + length;
    bool keep_alive = length == 1 && end == next_;
    bool fresh = before(sequence, start_);
    if (fresh)
        start_ = sequence;
    if (before(next_, sequence)) {
        while (gaps_.size() >= gaps_most)
            gaps_.erase(gaps_.begin());
        gaps_.emplace_back(next_, sequence);
    }
    fresh |= fill_gaps(sequence, end);
    if (before(next_, end)) {
        next_ = end;
        fresh = true;
    }
    return !fresh && !keep_alive;
}

// Takes [sequence, end) out of the gaps; returns whether any of it lay in one.
bool SequenceTracker::fill_gaps(uint32_t sequence, uint32_t end)
{
    if (gaps_.empty())
        return false;
    bool filled = false;
    std::vector<std::pair<uint32_t, uint32_t>> left;
    for (auto [first, last] : gaps_) {
        bool overlaps = before(first, end) && before(sequence, last);
        filled |= overlaps;
        if (!overlaps) {
            left.emplace_back(first, last);
            continue;
        }
        if (before(first, sequence))
            left.emplace_back(first, sequence);
        if (before(end, last))
            left.emplace_back(end, last);
    }
    gaps_ = std::move(left);
    return filled;
}

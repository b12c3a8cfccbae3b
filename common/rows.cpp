#include "common/rows.h"

#include <algorithm>
#include <cstdlib>

bool RowStore::reserve(size_t rows)
{
    if (rows <= entry_room_)
        return true;
    auto* grown = static_cast<Ranked*>(realloc(entries_, rows * sizeof(Ranked)));
    if (grown == nullptr)
        return false;
    entries_ = grown;
    entry_room_ = rows;
    return true;
}

// Entries behind `held_` that once were in use hold freed slots.
bool RowStore::take_slot(uint32_t& slot)
{
    if (!make_room())
        return false;
    if (held_ < slots_) {
        slot = entries_[held_].slot;
        return true;
    }
    if (slots_ == blocks_held_ * block_rows) {
        if (blocks_held_ == block_room_) {
            size_t room = block_room_ == 0 ? 64 : block_room_ * 2;
            auto* grown = static_cast<char**>(realloc(blocks_, room * sizeof(char*)));
            if (grown == nullptr)
                return false;
            blocks_ = grown;
            block_room_ = room;
        }
        auto* block = static_cast<char*>(calloc(block_rows, record_size_));
        if (block == nullptr)
            return false;
        blocks_[blocks_held_++] = block;
    }
    slot = static_cast<uint32_t>(slots_++);
    return true;
}

Refinement RowStore::refinement() const
{
    if (refine_ == nullptr)
        return {};
    return {[](const void* store, uint32_t a, uint32_t b) {
                const auto& rows = *static_cast<const RowStore*>(store);
                return rows.call_refine_(rows.refine_, rows.at(a), rows.at(b));
            },
            this};
}

// When twice the wanted rows are held, the worse half can never be printed: the slots are used again, and the
// worst row that is left is what later rows have to beat.
void RowStore::drop_unreachable()
{
    auto wanted = static_cast<size_t>(wanted_);
    const Refinement refinement = this->refinement();
    select_first({entries_, held_}, wanted, refinement);
    held_ = wanted;
    worst_ = *std::max_element(entries_, entries_ + held_, [&](const Ranked& a, const Ranked& b) {
        return ranks_before(a, b, refinement);
    });
    bounded_ = true;
}

// Of a row that comes after it: what is equal does not.
bool RowStore::beats_the_worst(uint64_t key, const void* record) const
{
    if (key != worst_.key)
        return key > worst_.key;
    return refine_ != nullptr && call_refine_(refine_, record, at(worst_.slot)) < 0;
}

bool RowStore::offer(uint64_t key, const void* record)
{
    if (wanted_ == 0 || (bounded_ && !beats_the_worst(key, record))) {
        total_++;
        return true;
    }
    uint32_t slot;
    if (!take_slot(slot))
        return false;
    memcpy(at(slot), record, record_size_);
    entries_[held_++] = {.key = key, .arrival = static_cast<uint32_t>(total_++), .slot = slot};
    constexpr int64_t least_spare = 1024;
    if (wanted_ < INT64_MAX / 2 && static_cast<int64_t>(held_) >= wanted_ + std::max(wanted_, least_spare))
        drop_unreachable();
    return true;
}

void RowStore::rank()
{
    auto wanted = std::min<int64_t>(wanted_, static_cast<int64_t>(held_));
    rank_first({entries_, held_}, static_cast<size_t>(wanted), refinement());
    held_ = static_cast<size_t>(wanted);
}

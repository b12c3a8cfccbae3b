#include "common/pool.h"

#include <cstdlib>

bool PoolStore::grow_buckets()
{
    constexpr uint32_t factor = 8; // few rounds: each walks all entries
    if (bucket_count_ > UINT32_MAX / 2 / factor)
        return false;
    uint32_t count = buckets_ == nullptr ? first_buckets_ : bucket_count_ * factor;
    auto** grown = static_cast<void**>(calloc(count, sizeof(void*)));
    if (grown == nullptr)
        return false;
    buckets_ = grown; // the smaller one stays behind until the end of the run
    bucket_count_ = count;
    return true;
}

// Nothing is in it yet: what was there need not be copied.
static bool grow_ranking(Ranked*& ranking, uint32_t& room, uint32_t least)
{
    uint32_t count = room * 2 < least ? least : room * 2;
    auto* grown = static_cast<Ranked*>(malloc(count * sizeof(Ranked)));
    if (grown == nullptr)
        return false;
    free(ranking);
    ranking = grown;
    room = count;
    return true;
}

bool PoolStore::add_slab()
{
    constexpr uint32_t entries_max = INT32_MAX; // entries are counted in 32 signed bits
    if (room_ > entries_max - slab_)
        return false;
    if (ranking_room_ < room_ + slab_ && !grow_ranking(ranking_, ranking_room_, room_ + slab_))
        return false;
    size_t held = room_ / slab_;
    auto* added = calloc(slab_, entry_size_);
    if (added == nullptr)
        return false;
    auto** grown = static_cast<char**>(realloc(slabs_, (held + 1) * sizeof(char*)));
    if (grown == nullptr) {
        free(added);
        return false;
    }
    slabs_ = grown;
    slabs_[held] = static_cast<char*>(added);
    room_ += slab_;
    return true;
}

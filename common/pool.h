#pragma once
// Aggregation pools: what reports fold records into, one entry a key. Entries come from zero-filled slabs in
// the order of arrival and are never freed. Without memory a record is dropped and the report goes on.
#include "base/lookup2.h"
#include "common/arguments.h"
#include "common/order.h"

#include <cstring>
#include <string_view>

// ---- Keys: how a value is stored, compared and hashed. `bucket_hash` is the hash of a pool of its first
// size; `full_hash` takes the whole key and serves once the bucket array has grown.

// An IPv4 address in host order.
struct Ipv4Key {
    using Value = uint32_t;
    uint32_t ip;
    void set(Value value) { ip = value; }
    bool is(Value value) const { return ip == value; }
    Value value() const { return ip; }
    static uint32_t bucket_hash(Value value) { return ipv4_hash(value); }
    static uint32_t full_hash(Value value) { return byte_hash(&value, sizeof value); }
};

struct ApplicationKey {
    using Value = uint32_t;
    uint32_t id;
    void set(Value value) { id = value; }
    bool is(Value value) const { return id == value; }
    Value value() const { return id; }
    static uint32_t bucket_hash(Value value) { return value; }
    static uint32_t full_hash(Value value) { return byte_hash(&value, sizeof value); }
};

// 16 bytes: an IPv6 address, or an IPv4 address in network order and zeros. The flag says which, but takes no
// part in the comparison.
struct AddressKey {
    struct Value {
        uint8_t bytes[16];
        bool is_ipv6;
    };
    Value address;
    void set(const Value& value) { address = value; }
    bool is(const Value& value) const { return memcmp(address.bytes, value.bytes, sizeof value.bytes) == 0; }
    const Value& value() const { return address; }
    static uint32_t bucket_hash(const Value& value) { return address_hash(value.bytes); }
    static uint32_t full_hash(const Value& value) { return byte_hash(value.bytes, sizeof value.bytes); }
};

// A text cut to `most` bytes; at most 255.
template <size_t most> struct TextKey {
    static_assert(most <= UINT8_MAX);
    using Value = std::string_view;
    uint8_t length;
    char text[most + 1];
    void set(Value value)
    {
        length = static_cast<uint8_t>(value.size());
        memcpy(text, value.data(), value.size());
        text[value.size()] = '\0';
    }
    bool is(Value value) const { return length == value.size() && memcmp(text, value.data(), length) == 0; }
    Value value() const { return {text, length}; }
    static Value cut(Value value) { return value.substr(0, most); }
    static uint32_t bucket_hash(Value value) { return text_hash(value.data(), value.size()); }
    static uint32_t full_hash(Value value) { return byte_hash(value.data(), value.size()); }
};

// ---- The pool

// The part that does not depend on key and counters.
class PoolStore {
protected:
    PoolStore(uint32_t buckets, uint32_t slab, size_t entry_size)
        : first_buckets_(buckets), slab_(slab), entry_size_(entry_size)
    {
    }
    bool crowded() const { return used_ / 2 >= bucket_count_; } // two entries a bucket, on average
    bool grow_buckets(); // to an empty larger array; false leaves the array in use as it is
    bool add_slab();     // with room for its entries in the ranking

    const uint32_t first_buckets_, slab_;
    const size_t entry_size_;
    void** buckets_ = nullptr;  // the chain heads
    uint32_t bucket_count_ = 0; // a power of two
    char** slabs_ = nullptr;    // of slab_ entries each: the entries in the order of arrival
    uint32_t used_ = 0, room_ = 0;
    Ranked* ranking_ = nullptr; // not touched before the entries are ranked
    uint32_t ranking_room_ = 0;
};

template <class Key, class Counters, uint32_t buckets, uint32_t slab> class Pool : PoolStore {
    static_assert((buckets & (buckets - 1)) == 0 && (slab & (slab - 1)) == 0);

public:
    using Value = typename Key::Value;
    struct Entry {
        Entry* next; // in its chain
        Key key;
        Counters counters;
    };

    Pool() : PoolStore(buckets, slab, sizeof(Entry)) {}

    // The counters of a key, zero when it is new; null when there is no memory: the record is dropped.
    Counters* at(const Value& value)
    {
        if (buckets_ == nullptr && !grow_buckets())
            return nullptr;
        for (Entry* entry = first_of(bucket_of(value)); entry != nullptr; entry = entry->next)
            if (entry->key.is(value))
                return &entry->counters;
        return add(value);
    }

    // A hint that at(value) comes soon: what it will read starts on its way.
    void expect(const Value& value) const
    {
        if (buckets_ != nullptr)
            __builtin_prefetch(first_of(bucket_of(value)), 1);
    }

    uint32_t size() const { return used_; }
    // Room in which all entries can be ranked.
    std::span<Ranked> ranking_room() const { return {ranking_, used_}; }
    const Entry& operator[](uint32_t i) const { return entry_at(i); }

private:
    Entry& entry_at(uint32_t i) const { return reinterpret_cast<Entry*>(slabs_[i / slab])[i % slab]; }

    static Entry* first_of(void* const* bucket) { return static_cast<Entry*>(*bucket); }

    void** bucket_of(const Value& value) const
    {
        uint32_t hash = bucket_count_ == buckets ? Key::bucket_hash(value) : Key::full_hash(value);
        return &buckets_[hash & (bucket_count_ - 1)];
    }

    void push(Entry& entry)
    {
        void** head = bucket_of(entry.key.value());
        entry.next = first_of(head);
        *head = &entry;
    }

    // Out of line: most records find their key.
    [[gnu::noinline]] Counters* add(const Value& value)
    {
        if (used_ == room_ && !add_slab())
            return nullptr;
        if (crowded() && grow_buckets())
            for (uint32_t i = 0; i < used_; i++)
                push(entry_at(i));
        Entry& entry = entry_at(used_++);
        entry.key.set(value);
        push(entry);
        return &entry.counters;
    }
};

// ---- Counters

// A latency in microseconds. A larger value than `most` is no measurement: it enters neither sum nor samples.
// `Sum` is as wide as the pool's sum is.
template <class Sum> struct DelayCounter {
    static constexpr uint32_t most = 9999999;
    Sum sum;
    uint32_t samples;
    void add(uint32_t delay)
    {
        if (delay > most)
            return;
        sum = static_cast<Sum>(sum + delay);
        samples++;
    }
    uint64_t average() const { return samples == 0 ? 0 : sum / samples; }
};

// ---- Orders: entries by the larger key, equal keys as they arrived

// Calls print(entry, position) for the page of a pool, in the order of `key` (null: of arrival).
template <class Key, class Counters, uint32_t buckets, uint32_t slab, class Print>
void print_page(const Pool<Key, Counters, buckets, slab>& pool, const Paging& paging,
                uint64_t (*key)(const std::type_identity_t<Counters>&), Print&& print)
{
    int64_t start = paging.start(), end = paging.end();
    if (end > pool.size())
        end = pool.size();
    if (start < 0 || start >= end)
        return;
    if (key == nullptr) {
        for (int64_t i = start; i < end; i++)
            print(pool[static_cast<uint32_t>(i)], i);
        return;
    }
    Ranking ranking(pool.ranking_room(), end);
    for (uint32_t i = 0; i < pool.size(); i++)
        ranking.offer(key(pool[i].counters), i);
    ranking.rank();
    for (int64_t i = start; i < static_cast<int64_t>(ranking.held()); i++)
        print(pool[ranking[static_cast<size_t>(i)]], i);
}

// A page that holds every entry.
constexpr Paging everything{.page = 1, .limit = INT32_MAX};

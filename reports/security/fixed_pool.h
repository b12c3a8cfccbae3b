#pragma once
// A hash table of a fixed number of entries, had in one piece on first use. A full pool drops new keys;
// entries are handed out from the lowest up and never removed, so that their order is that of first sight.
#include "base/lookup2.h"

#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

// A text cut to N - 1 bytes.
template <size_t N> struct FixedPoolText {
    using Value = std::string_view;
    static std::string_view cut(std::string_view value) { return value.substr(0, N - 1); }
    static uint32_t hash(std::string_view value) { return text_hash(value.data(), value.size()); }
    bool operator==(std::string_view value) const // a cut value
    {
        return memcmp(text, value.data(), value.size()) == 0 && text[value.size()] == '\0';
    }
    void set(std::string_view value) { memcpy(text, value.data(), value.size()); }
    std::string_view view() const { return text; }

    char text[N];
};

// An IPv4 address as it lies in memory.
struct FixedPoolAddress {
    using Value = uint32_t;
    static uint32_t cut(uint32_t value) { return value; }
    static uint32_t hash(uint32_t value) { return ipv4_hash(value); }
    bool operator==(uint32_t value) const { return value == raw; }
    void set(uint32_t value) { raw = value; }

    uint32_t raw;
};

template <class Key, class Counters, size_t room, size_t buckets> class FixedPool {
    static_assert((buckets & (buckets - 1)) == 0);

public:
    struct Entry {
        Entry* next; // of the same bucket
        Key key;
        Counters counters;
    };
    static constexpr long bytes = room * sizeof(Entry);

    // The first call allocates the entries. False when they could not be had: the pool stays empty.
    bool prepare()
    {
        if (!tried_)
            entries_ = static_cast<Entry*>(calloc(room, sizeof(Entry)));
        tried_ = true;
        return entries_ != nullptr;
    }
    bool tried() const { return tried_; }

    // The entry of a key, a fresh one with all counters 0 for a new key; null when there is no room for it.
    Entry* at(typename Key::Value value)
    {
        auto cut = Key::cut(value);
        Entry*& head = heads_[Key::hash(cut) & (buckets - 1)];
        for (Entry* entry = head; entry != nullptr; entry = entry->next)
            if (entry->key == cut)
                return entry;
        if (entries_ == nullptr || used_ == room)
            return nullptr;
        Entry* fresh = &entries_[used_++];
        fresh->key.set(cut);
        fresh->next = head;
        return head = fresh;
    }

    std::span<const Entry> entries() const { return {entries_, used_}; }

private:
    Entry* entries_ = nullptr;
    size_t used_ = 0;
    bool tried_ = false;
    Entry* heads_[buckets] = {};
};

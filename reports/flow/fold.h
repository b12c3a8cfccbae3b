#pragma once
// What the folding reports share: the arguments that choose a listing, orders over counters, and the columns
// of an address.
#include "base/format.h"
#include "common/descriptions.h"
#include "common/pool.h"

enum class FoldOrder { arrival, bytes, flows, delay };

// sort=: "byte" (and "delay" where the report keeps one) by prefix, "flow" exactly; any other word is
// ignored.
bool take_fold_order(const char* argument, FoldOrder& order, bool with_delay);

// Sessions or flows and their bytes.
struct TrafficCounters {
    uint32_t flows, up_bytes, down_bytes;

    // As the source sees it, otherwise as the destination does: the other way round.
    template <class Record> void add(const Record& r, bool by_source = true)
    {
        flows++;
        up_bytes += by_source ? r.up_bytes : r.down_bytes;
        down_bytes += by_source ? r.down_bytes : r.up_bytes;
    }
};

template <class Counters> uint64_t by_flows(const Counters& c)
{
    return c.flows;
}

// The sum is wider than the counters, so that it orders also what they can just hold.
template <class Counters> uint64_t by_bytes(const Counters& c)
{
    return uint64_t{c.up_bytes} + c.down_bytes;
}

// The key of a pool's order; null for the order of arrival.
template <class Counters> auto fold_key(FoldOrder order) -> uint64_t (*)(const Counters&)
{
    switch (order) {
    case FoldOrder::bytes:
        return by_bytes<Counters>;
    case FoldOrder::flows:
        return by_flows<Counters>;
    case FoldOrder::delay:
        if constexpr (requires(const Counters& c) { c.delay; })
            return [](const Counters& c) { return float_key(c.delay.average()); };
        [[fallthrough]];
    case FoldOrder::arrival:
        break;
    }
    return nullptr;
}

struct NameCounters {
    uint32_t flows;
};
using NamePool = Pool<TextKey<42>, NameCounters, 2048, 1024>;

// Adds a record to the pool of host names; the empty name is one like any other.
inline void add_name(NamePool& pool, std::string_view host)
{
    if (NameCounters* counters = pool.at(TextKey<42>::cut(host)))
        counters->flows++;
}

// {"total":…, "data":[…]} of the names of a page, the most frequent first.
void print_names(const NamePool& pool, const Paging& paging);

// The description of an IPv4 address in host order, "NULL" when there is none.
struct Description {
    uint32_t ip;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return text_growth * description_room; }
};

// What lines show of a text that may be empty.
inline std::string_view or_null(std::string_view text)
{
    return text.empty() ? "NULL" : text;
}
template <size_t n> Gbk or_null(const FixedGbkText<n>& text)
{
    return {or_null(text.view())};
}

// ipobj listflow: the sessions folded per address, location, host name or destination port.
#include "base/address.h"
#include "base/document.h"
#include "common/fetch.h"
#include "reports/flow/flow.h"
#include "reports/flow/fold.h"
#include "wire/session.h"

#include <algorithm>
#include <cstdlib>

namespace {

struct Query {
    FoldOrder order = FoldOrder::arrival;
    int portsum = 0, dnssum = 0, sumloc = 0, by_source = 0;
    JsonChoice json;
    Paging paging{.page = 1, .limit = 10};
};

bool take(const char* argument, Query& query)
{
    return take_fold_order(argument, query.order, true) || take_number(argument, "portsum=", query.portsum) ||
           take_number(argument, "dnssum=", query.dnssum) || take_number(argument, "sumloc=", query.sumloc) ||
           take_json(argument, "json=", query.json) || take_number(argument, "issrc=", query.by_source) ||
           take_paging(argument, query.paging);
}

// ---- Destination ports

// One pair a port; the count wraps at 65536, kept so.
struct PortCounter {
    uint16_t port, flows;
};
constexpr uint32_t ports = 65536;

// Those that were seen, the most frequent first, at the front of the array that they stand in.
std::span<const PortCounter> rank_ports(std::span<PortCounter> counters)
{
    auto seen =
        std::partition(counters.begin(), counters.end(), [](const PortCounter& c) { return c.flows != 0; });
    std::sort(counters.begin(), seen, [](const PortCounter& a, const PortCounter& b) {
        return a.flows != b.flows ? a.flows > b.flows : a.port < b.port;
    });
    return {counters.begin(), seen};
}

int report_ports(const Fetch& fetch, const Query& query)
{
    auto* block = static_cast<PortCounter*>(calloc(ports, sizeof(PortCounter)));
    std::span<PortCounter> counters(block, block != nullptr ? ports : 0); // without memory nothing is counted
    if (fetch_each<SessionRecord>(fetch, [&](const SessionRecord& r) {
            if (!counters.empty()) {
                PortCounter& counter = counters[r.destination_port];
                counter.port = r.destination_port;
                counter.flows++;
            }
            return true;
        }) != 0)
        return -1;
    if (!query.json)
        return 0;
    std::span<const PortCounter> ranked = rank_ports(counters);
    print_opening(FORMAT(R"({{"total":{}, "data":[)"), ranked.size());
    bool first = true;
    for (const PortCounter& counter : ranked) {
        print(FORMAT(R"({}{{"port":{}, "flow":{}}})"), comma_unless(first), counter.port, counter.flows);
        first = false;
    }
    print_closing(FORMAT("]}}"));
    return 0;
}

// ---- Host names

int report_names(const Fetch& fetch, const Query& query)
{
    NamePool pool;
    if (fetch_each<SessionRecord>(fetch, [&](const SessionRecord& r) {
            if (std::string_view host = r.host(); !host.empty())
                add_name(pool, host);
            return true;
        }) != 0)
        return -1;
    if (query.json)
        print_names(pool, everything); // page= and limit= do not apply
    return 0;
}

// ---- Locations

struct LocationCounters : TrafficCounters {
    DelayCounter<uint32_t> delay;
};
using LocationKey = TextKey<4>; // longer texts are cut
using LocationPool = Pool<LocationKey, LocationCounters, 32, 1024>;

void print_locations_json(const LocationPool& pool)
{
    // A comma before the first item only, kept so.
    print_opening(FORMAT("["));
    print_page(pool, everything, nullptr, [](const LocationPool::Entry& entry, int64_t i) {
        const LocationCounters& c = entry.counters;
        print(FORMAT(R"({}{{"loc":"{}")"
                     R"(,"flow":{})"
                     R"(,"upbytes":{})"
                     R"(,"downbytes":{})"
                     R"(,"avgdelay":{}}})"),
              comma_unless(i != 0), Gbk{entry.key.value()}, c.flows, c.up_bytes, c.down_bytes,
              c.delay.average());
    });
    print_closing(FORMAT("]"));
}

int report_locations(const Fetch& fetch, const Query& query)
{
    LocationPool pool;
    if (fetch_each<SessionRecord>(fetch, [&](const SessionRecord& r) {
            if (r.is_ipv6() || r.location.empty())
                return true;
            if (LocationCounters* counters = pool.at(LocationKey::cut(r.location.view()))) {
                counters->add(r);
                counters->delay.add(r.server_delay);
            }
            return true;
        }) != 0)
        return -1;
    if (query.json) {
        print_locations_json(pool);
        return 0;
    }
    print_page(pool, everything, nullptr, [](const LocationPool::Entry& entry, int64_t) {
        const LocationCounters& c = entry.counters;
        print_line(FORMAT("{} {} {} {} {}"), Gbk{entry.key.value()}, c.flows, c.up_bytes, c.down_bytes,
                   c.delay.average());
    });
    return 0;
}

// ---- Addresses

struct AddressCounters : TrafficCounters { // as the address sees it
    DelayCounter<uint64_t> delay;
    FixedGbkText<43> location; // of the last session that has one, for destinations only
};
using AddressPool = Pool<Ipv4Key, AddressCounters, 4096, 1024>;

template <bool by_source> void add(AddressPool& pool, const SessionRecord& r)
{
    AddressCounters* counters = pool.at((by_source ? r.source : r.destination).ipv4_host());
    if (counters == nullptr)
        return;
    counters->add(r, by_source);
    counters->delay.add(r.server_delay);
    if (!by_source && !r.location.empty())
        counters->location = r.location;
}

template <bool by_source> int fold(const Fetch& fetch, AddressPool& pool)
{
    auto expect = [&](const SessionRecord& r) {
        pool.expect((by_source ? r.source : r.destination).ipv4_host());
    };
    return fetch_each<SessionRecord>(fetch, expect, [&](const SessionRecord& r) {
        if (!r.is_ipv6())
            add<by_source>(pool, r);
        return true;
    });
}

void print_address_json(const AddressPool::Entry& entry, Separator separator, bool by_source)
{
    const AddressCounters& c = entry.counters;
    print(FORMAT(R"({}{{"ip":"{}")"
                 R"(,"flow":{})"
                 R"(,"upbytes":{})"
                 R"(,"downbytes":{})"
                 R"(,"avgdelay":{})"),
          separator, Ipv4{entry.key.ip}, c.flows, c.up_bytes, c.down_bytes, c.delay.average());
    if (!by_source)
        print(FORMAT(R"(,"locisp":"{}")"), c.location);
    print(FORMAT(R"(,"desc":"{}"}})"), Description{entry.key.ip});
}

void print_address_text(const AddressPool::Entry& entry, bool by_source)
{
    const AddressCounters& c = entry.counters;
    // "NULL" for no location follows the delay without a blank, kept so.
    const std::string_view blank = c.location.empty() ? "" : " ";
    const std::string_view location = by_source ? "" : or_null(c.location.view());
    print_line(FORMAT("{} {} {} {} {}{}{} {}"), Ipv4{entry.key.ip}, c.flows, c.up_bytes, c.down_bytes,
               c.delay.average(), blank, location, Description{entry.key.ip});
}

void print_addresses(const AddressPool& pool, const Query& query)
{
    desc_init(); // without descriptions the report goes on
    auto key = fold_key<AddressCounters>(query.order);
    bool by_source = query.by_source != 0;
    if (!query.json) {
        print_page(pool, query.paging, key,
                   [&](const auto& entry, int64_t) { print_address_text(entry, by_source); });
        return;
    }
    print_opening(FORMAT(R"({{"total":{}, "data":[)"), pool.size());
    // Only the first item of the whole listing has no comma: a later page opens with one, kept so.
    print_page(pool, query.paging, key, [&](const auto& entry, int64_t i) {
        print_address_json(entry, comma_unless(i == 0), by_source);
    });
    print_closing(FORMAT("]}}"));
}

int report_addresses(const Fetch& fetch, const Query& query)
{
    AddressPool pool;
    if ((query.by_source != 0 ? fold<true> : fold<false>)(fetch, pool) != 0)
        return -1;
    print_addresses(pool, query);
    return 0;
}

} // namespace

int ipobj_listflow(int argc, char** argv)
{
    Query query;
    Fetch fetch{.module = "flow",
                .argv = argv,
                .write = write_leading,
                .dictionary_first = true,
                .stop_when_empty = true};
    for (char* argument : arguments(argc, argv))
        if (!take(argument, query))
            fetch.forward(argument);
    // Only what is printed is filled.
    if (query.portsum != 0)
        return report_ports(fetch, query);
    if (query.dnssum != 0)
        return report_names(fetch, query);
    if (query.sumloc != 0)
        return report_locations(fetch, query);
    return report_addresses(fetch, query);
}

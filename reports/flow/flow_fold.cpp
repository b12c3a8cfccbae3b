// outconnect caluflow: the outbound flows folded per address, location, host name or application.
#include "base/address.h"
#include "base/document.h"
#include "common/fetch.h"
#include "link/dictionary.h"
#include "reports/flow/flow.h"
#include "reports/flow/flow_view.h"
#include "reports/flow/fold.h"

#include <algorithm>
#include <cstdlib>

namespace {

struct Query {
    FoldOrder order = FoldOrder::arrival;
    int dnssum = 0, appsum = 0, sumloc = 0, by_source = 0, ischina = -1;
    JsonChoice json;
    Paging paging{.page = 1, .limit = 10};
};

bool take(const char* argument, Query& query)
{
    return take_fold_order(argument, query.order, false) || take_number(argument, "dnssum=", query.dnssum) ||
           take_number(argument, "appsum=", query.appsum) || take_number(argument, "sumloc=", query.sumloc) ||
           take_json(argument, "json=", query.json) || take_number(argument, "issrc=", query.by_source) ||
           take_number(argument, "ischina=", query.ischina) || take_paging(argument, query.paging);
}

// Calls add(record) for the IPv4 flows that are not left out.
template <class Function> int fetch_outbound(const Fetch& fetch, const Query& query, Function&& add)
{
    return fetch_each<FlowRecord>(fetch, [&](const FlowRecord& r) {
        if (!r.is_ipv6() && !left_out(r, query.ischina))
            add(r);
        return true;
    });
}

// ---- Applications

// One block: the counters, and pointers to those that are listed in their order.
struct ApplicationBlock {
    uint64_t flows[65536];
    uint64_t* sorted[65536];
};
static_assert(sizeof(ApplicationBlock) == 1048576);

// Puts the counters that are not zero into order, the largest first; returns their number.
size_t sort_applications(ApplicationBlock& block)
{
    uint64_t** end = block.sorted;
    for (uint64_t& flows : block.flows)
        if (flows != 0)
            *end++ = &flows;
    std::sort(block.sorted, end,
              [](const uint64_t* a, const uint64_t* b) { return *a != *b ? *a > *b : a < b; });
    return static_cast<size_t>(end - block.sorted);
}

void print_applications(ApplicationBlock& block)
{
    size_t listed = sort_applications(block);
    print_opening(FORMAT(R"({{"data":[)"));
    for (size_t i = 0; i < listed; i++) {
        auto id = static_cast<uint32_t>(block.sorted[i] - block.flows);
        print(FORMAT(R"({}{{"apid":{}, "name":"{}", "cname":"{}", "flow":{}}})"), comma_unless(i == 0), id,
              text_of(application_name(id)), text_of(application_second_name(id)),
              static_cast<uint32_t>(*block.sorted[i])); // 32 bits wide in the document
    }
    print_closing(FORMAT(R"(], "total":{}}})"), listed);
}

// The records go to the host names or locations first when those are asked for too, while the output is that
// of the applications, which then is empty; kept so.
int report_applications(const Fetch& fetch, const Query& query)
{
    auto* block = static_cast<ApplicationBlock*>(calloc(1, sizeof(ApplicationBlock)));
    if (block == nullptr)
        return refuse(FORMAT("fail to alloc app pool {} bytes"), sizeof(ApplicationBlock));
    const bool folded_elsewhere = query.dnssum != 0 || query.sumloc != 0;
    if (fetch_outbound(fetch, query, [&](const FlowRecord& r) {
            if (!folded_elsewhere)
                block->flows[r.application & 0xffff]++;
        }) != 0)
        return -1;
    print_applications(*block);
    return 0;
}

// ---- Host names

int report_names(const Fetch& fetch, const Query& query)
{
    NamePool pool;
    if (fetch_outbound(fetch, query, [&](const FlowRecord& r) { add_name(pool, r.host()); }) != 0)
        return -1;
    print_names(pool, query.paging);
    return 0;
}

// ---- Locations

using LocationKey = TextKey<30>;
using LocationPool = Pool<LocationKey, TrafficCounters, 32, 1024>;

void print_locations(const LocationPool& pool, const Query& query)
{
    auto key = query.order == FoldOrder::bytes ? by_bytes<TrafficCounters> : by_flows<TrafficCounters>;
    if (!query.json) {
        print_page(pool, everything, key, [](const LocationPool::Entry& entry, int64_t) {
            const TrafficCounters& c = entry.counters;
            print_line(FORMAT("{} {} {} {}"), Gbk{entry.key.value()}, c.flows, c.up_bytes, c.down_bytes);
        });
        return;
    }
    print_opening(FORMAT(R"({{"data":[)"));
    print_page(pool, everything, key, [](const LocationPool::Entry& entry, int64_t i) {
        const TrafficCounters& c = entry.counters;
        print(FORMAT(R"({}{{"loc":"{}")"
                     R"(,"flow":{})"
                     R"(,"upbytes":{})"
                     R"(,"downbytes":{}}})"),
              comma_unless(i == 0), Gbk{entry.key.value()}, c.flows, c.up_bytes, c.down_bytes);
    });
    print_closing(FORMAT(R"(], "total":{}}})"), pool.size());
}

int report_locations(const Fetch& fetch, const Query& query)
{
    LocationPool pool;
    if (fetch_outbound(fetch, query, [&](const FlowRecord& r) {
            if (TrafficCounters* counters = pool.at(LocationKey::cut(location_key(r))))
                counters->add(r);
        }) != 0)
        return -1;
    print_locations(pool, query);
    return 0;
}

// ---- Addresses

struct AddressCounters : TrafficCounters { // as the address sees it
    FlowLocation location;                 // of the last flow; empty for sources
};
using AddressPool = Pool<Ipv4Key, AddressCounters, 4096, 1024>;

void add_address(AddressPool& pool, const FlowRecord& r, bool by_source)
{
    AddressCounters* counters = pool.at((by_source ? r.source : r.destination).ipv4_host());
    if (counters == nullptr)
        return;
    counters->add(r, by_source);
    if (!by_source)
        counters->location = r.location;
}

void print_address_text(const AddressPool::Entry& entry)
{
    const AddressCounters& c = entry.counters;
    print_line(FORMAT("{} {} {} {} {}"), Ipv4{entry.key.ip}, c.flows, c.up_bytes, c.down_bytes,
               Description{entry.key.ip});
}

void print_address_json(const AddressPool::Entry& entry, Separator separator)
{
    const AddressCounters& c = entry.counters;
    print(FORMAT(R"({}{{"ip":"{}")"
                 R"(,"flow":{})"
                 R"(,"upbytes":{})"
                 R"(,"downbytes":{})"
                 R"(,"locisp":"{}")"
                 R"(,"desc":"{}"}})"),
          separator, Ipv4{entry.key.ip}, c.flows, c.up_bytes, c.down_bytes, LocationText{c.location},
          Description{entry.key.ip});
}

int report_addresses(const Fetch& fetch, const Query& query)
{
    AddressPool pool;
    const bool by_source = query.by_source != 0;
    if (fetch_outbound(fetch, query, [&](const FlowRecord& r) { add_address(pool, r, by_source); }) != 0)
        return -1;
    desc_init(); // without descriptions the report goes on
    auto key = fold_key<AddressCounters>(query.order);
    if (!query.json) {
        print_page(pool, query.paging, key, [](const auto& entry, int64_t) { print_address_text(entry); });
        return 0;
    }
    print_opening(FORMAT(R"({{"data":[)"));
    print_page(pool, query.paging, key, [&](const auto& entry, int64_t i) {
        print_address_json(entry, comma_unless(i == query.paging.start()));
    });
    print_closing(FORMAT(R"(], "total":{}}})"), pool.size());
    return 0;
}

} // namespace

int outconnect_caluflow(int argc, char** argv)
{
    Query query;
    Fetch fetch{.module = "flow", .argv = argv};
    for (char* argument : arguments(argc, argv))
        if (!take(argument, query))
            fetch.forward(argument);
    // Only what is printed is filled.
    if (query.appsum != 0)
        return report_applications(fetch, query);
    if (query.dnssum != 0)
        return report_names(fetch, query);
    if (query.sumloc != 0)
        return report_locations(fetch, query);
    return report_addresses(fetch, query);
}

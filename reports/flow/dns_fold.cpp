// dnsflow caluflow: the flows folded per host name, location, source, destination and application at once.
#include "base/address.h"
#include "base/document.h"
#include "common/fetch.h"
#include "reports/flow/flow.h"
#include "reports/flow/flow_view.h"
#include "reports/flow/fold.h"

namespace {

struct Query {
    FoldOrder order = FoldOrder::arrival;
    int dnssum = 0, appsum = 0, sumloc = 0, json = 0; // taken, and without effect: one document holds all
    int ischina = 0;
    Paging paging{.page = 1, .limit = 10}; // of the host names only
};

bool take(const char* argument, Query& query)
{
    return take_fold_order(argument, query.order, false) || take_number(argument, "dnssum=", query.dnssum) ||
           take_number(argument, "appsum=", query.appsum) || take_number(argument, "sumloc=", query.sumloc) ||
           take_number(argument, "json=", query.json) || take_number(argument, "ischina=", query.ischina) ||
           take_paging(argument, query.paging);
}

// ---- Pools

struct AnswerCounters {
    uint32_t flows, answered, unanswered; // answered: bytes went both ways

    void add(const FlowRecord& r)
    {
        const bool both_ways = r.up_bytes != 0 && r.down_bytes != 0;
        flows++;
        answered += both_ways;
        unanswered += !both_ways;
    }
};

struct FlowCounters : AnswerCounters {
    uint32_t up_bytes, down_bytes;

    void add(const FlowRecord& r)
    {
        AnswerCounters::add(r);
        up_bytes += r.up_bytes;
        down_bytes += r.down_bytes;
    }
};

struct DestinationCounters : FlowCounters {
    FlowLocation location; // of the last flow that has one
};

using HostKey = TextKey<42>;
using LocationKey = TextKey<30>;
using HostPool = Pool<HostKey, FlowCounters, 2048, 1024>;
using LocationPool = Pool<LocationKey, FlowCounters, 32, 1024>;
using SourcePool = Pool<Ipv4Key, FlowCounters, 4096, 1024>;
using DestinationPool = Pool<Ipv4Key, DestinationCounters, 4096, 1024>;
using ApplicationPool = Pool<ApplicationKey, AnswerCounters, 16, 8>;

struct Pools {
    HostPool hosts;
    LocationPool locations;
    SourcePool sources;
    DestinationPool destinations;
    ApplicationPool applications;
    AnswerCounters total{};
};

template <class Pool> void add_to(Pool& pool, const typename Pool::Value& key, const FlowRecord& r)
{
    if (auto* counters = pool.at(key))
        counters->add(r);
}

void add_destination(DestinationPool& pool, const FlowRecord& r)
{
    DestinationCounters* counters = pool.at(r.destination.ipv4_host());
    if (counters == nullptr)
        return;
    counters->add(r);
    if (!r.location.empty())
        counters->location = r.location;
}

void add_everywhere(Pools& pools, const FlowRecord& r)
{
    pools.total.add(r);
    add_to(pools.hosts, HostKey::cut(r.host()), r);
    if (!r.location.country.empty() || !r.location.region.empty())
        add_to(pools.locations, LocationKey::cut(location_key(r)), r);
    add_to(pools.sources, r.source.ipv4_host(), r);
    add_destination(pools.destinations, r);
    add_to(pools.applications, r.application, r);
}

// ---- The document, part by part

void print_hosts(const HostPool& pool, const Query& query)
{
    print_opening(FORMAT(R"({{"dnstotal":{}, "dns_data":[)"), pool.size());
    print_page(pool, query.paging, fold_key<FlowCounters>(query.order), [&](const auto& entry, int64_t i) {
        const FlowCounters& c = entry.counters;
        print(FORMAT(R"({}{{"dns":"{}", "flow":{}, "succ":{}, "fail":{}}})"),
              comma_unless(i == query.paging.start()), entry.key.value(), c.flows, c.answered, c.unanswered);
    });
    print_closing(FORMAT("]"));
}

void print_locations(const LocationPool& pool, FoldOrder order)
{
    print_opening(FORMAT(R"(,"loc_data":[)"));
    print_page(pool, everything, fold_key<FlowCounters>(order), [](const auto& entry, int64_t i) {
        const FlowCounters& c = entry.counters;
        print(FORMAT(R"({}{{"loc":"{}")"
                     R"(,"flow":{})"
                     R"(,"succ":{})"
                     R"(,"fail":{}}})"),
              comma_unless(i == 0), Gbk{entry.key.value()}, c.flows, c.answered, c.unanswered);
    });
    print_closing(FORMAT(R"(], "loctotal":{})"), pool.size());
}

void print_sources(const SourcePool& pool, FoldOrder order, const AnswerCounters& total)
{
    print_opening(FORMAT(R"(,"src_data":[)"));
    print_page(pool, everything, fold_key<FlowCounters>(order), [](const auto& entry, int64_t i) {
        const FlowCounters& c = entry.counters;
        print(FORMAT(R"({}{{"ip":"{}")"
                     R"(,"flow":{})"
                     R"(,"succ":{})"
                     R"(,"fail":{})"
                     R"(,"desc":"{}"}})"),
              comma_unless(i == 0), Ipv4{entry.key.ip}, c.flows, c.answered, c.unanswered,
              Description{entry.key.ip});
    });
    print_closing(FORMAT(R"(], "src_total":{}, "totalflow":{}, "succflow":{})"), pool.size(), total.flows,
                  total.answered);
}

void print_destinations(const DestinationPool& pool, FoldOrder order)
{
    print_opening(FORMAT(R"(,"dst_data":[)"));
    print_page(pool, everything, fold_key<DestinationCounters>(order), [](const auto& entry, int64_t i) {
        const DestinationCounters& c = entry.counters;
        print(FORMAT(R"({}{{"ip":"{}")"
                     R"(,"flow":{})"
                     R"(,"succ":{})"
                     R"(,"fail":{})"
                     R"(,"desc":"{}")"
                     R"(,"locisp":"{}"}})"),
              comma_unless(i == 0), Ipv4{entry.key.ip}, c.flows, c.answered, c.unanswered,
              Description{entry.key.ip}, LocationText{c.location});
    });
    print_closing(FORMAT(R"(], "dst_total":{})"), pool.size());
}

void print_applications(const ApplicationPool& pool, FoldOrder order)
{
    print_opening(FORMAT(R"(,"port_data":[)"));
    // Applications have no byte counters: both sort words order them by flows.
    auto key = order == FoldOrder::arrival ? nullptr : by_flows<AnswerCounters>;
    print_page(pool, everything, key, [](const auto& entry, int64_t i) {
        const AnswerCounters& c = entry.counters;
        print(FORMAT(R"({}{{"port":"{}")"
                     R"(,"flow":{})"
                     R"(,"succ":{})"
                     R"(,"fail":{}}})"),
              comma_unless(i == 0), static_cast<int>(entry.key.id), c.flows, c.answered, c.unanswered);
    });
    print_closing(FORMAT("]}}"));
}

} // namespace

int dnsflow_caluflow(int argc, char** argv)
{
    Query query;
    Fetch fetch{.module = "flow", .argv = argv};
    for (char* argument : arguments(argc, argv))
        if (!take(argument, query))
            fetch.forward(argument);
    Pools pools;
    if (fetch_each<FlowRecord>(fetch, [&](const FlowRecord& r) {
            if (!r.is_ipv6() && on_side(r, query.ischina))
                add_everywhere(pools, r);
            return true;
        }) != 0)
        return -1;
    desc_init(); // without descriptions the report goes on
    print_hosts(pools.hosts, query);
    print_locations(pools.locations, query.order);
    print_sources(pools.sources, query.order, pools.total);
    print_destinations(pools.destinations, query.order);
    print_applications(pools.applications, query.order);
    return 0;
}

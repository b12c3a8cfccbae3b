// assetsobj list: the statistics of every configured asset, one page of them sorted by one measure.
#include "base/address.h"
#include "base/clock.h"
#include "base/document.h"
#include "common/fetch.h"
#include "common/rows.h"
#include "reports/assets/assets.h"
#include "wire/asset.h"

#include <algorithm>
#include <climits>

namespace {

uint64_t average_delay(const AssetRecord& r) // microseconds
{
    uint64_t samples = 0;
    for (uint32_t count : r.delay_counts)
        samples += count;
    return samples != 0 ? r.delay_sum / samples : 0;
}

uint32_t largest_delay(const AssetRecord& r) // microseconds
{
    return std::max<uint32_t>(r.delay_max_1, r.delay_max_2);
}

uint64_t failure_rate(const AssetRecord& r) // percent
{
    uint64_t requests = uint64_t{r.succeeded} + r.failed;
    return requests != 0 ? uint64_t{r.failed} * 100 / requests : 0;
}

Hundredths milliseconds(uint64_t microseconds)
{
    return {static_cast<double>(microseconds) / 1000};
}

// "in" orders by what is printed as "out" and the reverse: the web layer expects it so.
constexpr SortWord<AssetRecord> sort_words[] = {
    {"flowcnt",  {[](const AssetRecord& r) { return uint64_t{r.flows}; }}         },
    {"pps",      {[](const AssetRecord& r) { return uint64_t{r.pps}; }}           },
    {"bpsin",    {[](const AssetRecord& r) { return uint64_t{r.bps_out}; }}       },
    {"bpsout",   {[](const AssetRecord& r) { return uint64_t{r.bps_in}; }}        },
    {"bytesin",  {[](const AssetRecord& r) { return r.bytes_out; }}               },
    {"bytesout", {[](const AssetRecord& r) { return r.bytes_in; }}                },
    {"avgdelay", {average_delay}                                                  },
    {"id",       {}                                                               }, // the daemon's order
    {"maxus",    {[](const AssetRecord& r) { return uint64_t{largest_delay(r)}; }}},
    {"failrate", {failure_rate}                                                   },
};

void print_value(const AssetRecord& r)
{
    if (r.kind == AssetRecord::kind_ipv4) // the 1 is what the web layer expects of IPv4
        print(FORMAT(R"(,"value":"{}","isipv6":1)"), Ipv4{r.value_address().ipv4_network()});
    else if (r.kind == AssetRecord::kind_ipv6)
        print(FORMAT(R"(,"value":"{}","isipv6":2)"), Ipv6{r.value_address().bytes});
    else
        print(FORMAT(R"(,"value":"{}")"), r.value);
}

void print_asset(const AssetRecord& r, bool first)
{
    // The web layer knows the ids as signed numbers.
    print(FORMAT(R"({}{{"pid":{},"id":{},"logicid":{},"name":"{}","port":{})"), comma_unless(first), r.pid,
          static_cast<int>(r.id), static_cast<int>(r.logical_id), r.name, r.port);
    print_value(r);
    // The sums of rates wrap at 32 bits, and the average delay is quoted: kept so.
    // clang-format off
    print(FORMAT(R"(,"flowcnt":{},"pps":{},"bpsout":{},"bpsin":{},"bpstotal":{})"
                 R"(,"bytesout":{},"bytesin":{},"bytestotal":{})"
                 R"(,"avgdelay":"{}","maxus":{},"failrate":{},"threats":{},"threat_last":"{}"}})"),
          r.flows, r.pps, r.bps_out, r.bps_in, r.bps_out + r.bps_in,
          r.bytes_out, r.bytes_in, r.bytes_out + r.bytes_in,
          milliseconds(average_delay(r)), milliseconds(largest_delay(r)),
          failure_rate(r), r.threats(), LocalTime{r.last_threat()});
    // clang-format on
}

} // namespace

int assetsobj_list(int argc, char** argv)
{
    Paging paging{.page = 1, .limit = INT_MAX};
    const SortWord<AssetRecord>* sort = &sort_words[0];
    Fetch fetch{.module = "assetsobj", .argc = argc, .argv = argv};
    for (const char* argument : arguments(argc, argv)) {
        take_paging(argument, paging);
        take_word(argument, "sort=", sort_words, sort);
    }
    if (paging.page == 0 || paging.limit == 0)
        return refuse("INV_PAGE_LIMIT");
    if (!request_fits(fetch))
        return -1;

    print_opening(FORMAT(R"({{"list":[)")); // before the request: an error text follows it
    Rows<AssetRecord> rows(sort->order);
    rows.want_until(paging.end());
    if (fetch_each<AssetRecord>(fetch, [&](const AssetRecord& r) { return rows.keep(r); }) != 0)
        return -1;
    rows.rank();
    rows.print_page(paging, print_asset);
    print_closing(FORMAT(R"(], "total":{}}})"), rows.total());
    return 0;
}

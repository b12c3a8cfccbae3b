// hostinfo list: one line a host, ranked by one of its activity counters.
#include "base/address.h"
#include "base/clock.h"
#include "base/document.h"
#include "common/fetch.h"
#include "common/rows.h"
#include "reports/capture/capture.h"
#include "wire/host.h"

namespace {

// Counters are 32 bits wide; sums wrap.
uint32_t sub_sum(const HostRecord& r)
{
    return r.sub_counts[0] + r.sub_counts[1] + r.sub_counts[2] + r.sub_counts[3];
}

uint64_t dns_key(const HostRecord& r)
{
    return r.dns_count;
}

uint64_t http_key(const HostRecord& r)
{
    return r.http_count + sub_sum(r);
}

uint64_t all_key(const HostRecord& r)
{
    return r.dns_count + r.http_count + sub_sum(r);
}

constexpr SortWord<HostRecord> sort_words[] = {
    {"all",  {all_key} },
    {"http", {http_key}},
    {"dns",  {dns_key} },
};

// The ranking grows in steps of its own, with a message for each way in which memory can fail.
constexpr size_t first_room = 32768, more_room = 12288;

bool keep_host(Rows<HostRecord>& rows, size_t& room, const HostRecord& r, size_t batch)
{
    if (rows.held() == room) {
        room += more_room;
        if (!rows.reserve(room)) {
            refuse(FORMAT("realloc fail with {}"), room * sizeof(Ranked));
            return false;
        }
    }
    bool kept = rows.keep(r);
    if (!kept)
        refuse(FORMAT("fail to alloc hostinfo buffer({})"), batch);
    return kept;
}

// The ports up to the first 0, joined by ",".
struct PortList {
    const HostRecord& host;
    char* put(char* at) const
    {
        char* const start = at;
        for (const be16& port : host.ports) {
            if (port == 0)
                break;
            if (at != start)
                *at++ = ',';
            at = port.put(at);
        }
        return at;
    }
    static constexpr size_t most_bytes() { return 6 * sizeof "65535"; }
};

void print_host(const HostRecord& r)
{
    print_line(FORMAT("{} {} {} {} {} {} {} {} {} {} {} {} {}"), r.name, LocalTime{r.time},
               r.dns_count + r.http_count + sub_sum(r), r.dns_count, r.http_count, sub_sum(r),
               r.sub_counts[0], r.sub_counts[1], r.sub_counts[2], r.sub_counts[3], Ipv4{r.address},
               PortList{r}, r.note);
}

} // namespace

int hostinfo_list(int argc, char** argv)
{
    int count = -1; // rows; negative: all
    const SortWord<HostRecord>* sort = &sort_words[0];
    for (const char* argument : arguments(argc, argv)) {
        take_number(argument, "count=", count);
        take_word(argument, "sort=", sort_words, sort);
    }
    Rows<HostRecord> rows(sort->order);
    size_t room = first_room;
    if (!rows.reserve(room)) {
        refuse(FORMAT("fail to alloc buffer for cmp({})"), first_room);
        return 1; // not -1: scripts tell this end from the others
    }
    rows.want_until(count < 0 ? INT64_MAX : count);
    Fetch fetch{.code = verb::list, .module = "obshost", .write = nullptr};
    auto keep_batch = [&](std::span<const HostRecord> hosts) {
        for (const HostRecord& host : hosts)
            if (!keep_host(rows, room, host, hosts.size()))
                return Walk::failed;
        return Walk::on;
    };
    if (fetch_records<HostRecord>(fetch, keep_batch) != 0)
        return -1;
    rows.rank();
    for (size_t i = 0; i < rows.held(); i++) // a host that is not shown uses up its row all the same
        if (rows[i].valid != 0 && !rows[i].name.empty())
            print_host(rows[i]);
    return 0;
}

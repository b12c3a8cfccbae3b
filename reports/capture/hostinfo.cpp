// hostinfo list: one line a host, ranked by one of its activity counters.
#include "base/address.h"
#include "base/clock.h"
#include "base/output.h"
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

bool keep_host(Rows<HostRecord>& rows, size_t& room, const HostRecord& r, int batch)
{
    if (rows.held() == room) {
        room += more_room;
        if (!rows.reserve(room)) {
            print("realloc fail with %zu\n", room * sizeof(Ranked));
            return false;
        }
    }
    bool kept = rows.keep(r);
    if (!kept)
        print("fail to alloc hostinfo buffer(%d)\n", batch);
    return kept;
}

struct PortList {
    char text[6 * sizeof "65535,"];
};

PortList port_list(const HostRecord& r)
{
    PortList list{};
    Output out{.buffer = list.text, .size = sizeof list.text};
    for (uint16_t port : r.ports) {
        if (port == 0)
            break;
        append(&out, "%s%d", out.used != 0 ? "," : "", port);
    }
    return list;
}

void print_host(const HostRecord& r)
{
    // clang-format off
    print("%s %s %u %u %u %u %u %u %u %u %s %s %s\n", text_of(r.name).text, time_text(r.time).text,
          r.dns_count + r.http_count + sub_sum(r), r.dns_count, r.http_count, sub_sum(r),
          r.sub_counts[0], r.sub_counts[1], r.sub_counts[2], r.sub_counts[3],
          ipv4_text(r.address).text, port_list(r).text, text_of(r.note).text);
    // clang-format on
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
        print("fail to alloc buffer for cmp(%d)\n", static_cast<int>(first_room));
        return 1; // not -1: scripts tell this end from the others
    }
    rows.want_until(count < 0 ? INT64_MAX : count);
    Fetch fetch{.code = verb::list, .module = "obshost", .write = nullptr};
    auto keep_batch = [&](const Answer& answer) {
        std::span<const HostRecord> hosts;
        if (!records_in(answer, hosts)) {
            refuse_reply();
            return Walk::failed;
        }
        for (const HostRecord& host : hosts)
            if (!keep_host(rows, room, host, answer.count))
                return Walk::failed;
        return Walk::on;
    };
    if (fetch_batches(fetch, keep_batch) != 0)
        return -1;
    rows.rank();
    for (size_t i = 0; i < rows.held(); i++) // a host that is not shown uses up its row all the same
        if (rows[i].valid != 0 && !rows[i].name.empty())
            print_host(rows[i]);
    return 0;
}

// The malicious-activity log: a page of its records and summaries over all of them.
#include "base/address.h"
#include "base/clock.h"
#include "base/document.h"
#include "common/arguments.h"
#include "common/fetch.h"
#include "common/order.h"
#include "reports/security/malicious_summary.h"
#include "reports/security/security.h"
#include "reports/security/today.h"

#include <cstdlib>

namespace {

struct Query {
    Paging paging{.page = 1, .limit = 20};
    int flow_log = 0;
    SummaryChoice summaries;
};

void read_argument(const char* argument, Query& query)
{
    struct {
        std::string_view key;
        int& number;
    } const keys[] = {
        {"show_flowlog=", query.flow_log              },
        {"show_level=",   query.summaries.levels      },
        {"show_malc=",    query.summaries.types       },
        {"show_srcip=",   query.summaries.sources     },
        {"show_dstip=",   query.summaries.destinations},
        {"show_dns=",     query.summaries.domains     },
        {"show_area=",    query.summaries.areas       },
    };
    take_paging(argument, query.paging);
    for (const auto& known : keys)
        take_number(argument, known.key, known.number);
}

// "address", "address:port", the name, or "NULL".
struct Indicator {
    const MaliciousRecord& record;
    char* put(char* at) const
    {
        if (record.indicator != 0 && record.indicator_port != 0)
            return put_row(at, FORMAT("{}:{}"), Ipv4{record.indicator}, record.indicator_port);
        if (record.indicator != 0)
            return Ipv4{record.indicator}.put(at);
        return record.indicator_name.empty() ? put_text(at, "NULL") : record.indicator_name.put(at);
    }
    static constexpr size_t most_bytes() { return decltype(MaliciousRecord::indicator_name)::most_bytes(); }
};

void print_event(const MaliciousRecord& record, bool first)
{
    print(FORMAT(R"({}{{"time":"{}")"
                 R"(,"src":"{}", "sport":{})"
                 R"(,"dst":"{}", "dport":{})"
                 R"(,"risc":"{}","locisp":"{}","ioc":"{}","type":"{}"}})"),
          comma_unless(first), LocalTime{record.time}, Ipv4{record.source}, record.source_port,
          Ipv4{record.destination}, record.destination_port, Gbk{level_word(record.level)}, record.area,
          Indicator{record}, record.type);
}

// The records' order, newest first; empty when there is no memory for it.
std::span<const Ranked> newest_first(std::span<const MaliciousRecord> records)
{
    auto* ranked = static_cast<Ranked*>(calloc(records.size(), sizeof(Ranked)));
    if (ranked == nullptr)
        return {};
    for (uint32_t i = 0; i < records.size(); i++)
        ranked[i] = {.key = records[i].time, .arrival = i, .slot = i};
    std::span<Ranked> order(ranked, records.size());
    rank_first(order, order.size(), {});
    return order;
}

// Prints the page when it was asked for and counts for every summary, in one walk.
void walk(const Query& query, std::span<const MaliciousRecord> records, std::span<const Ranked> order)
{
    const bool show = query.flow_log != 0;
    const int64_t today_start = show ? today().first : 0;
    int todays = 0, total = 0;
    if (show) {
        begin_document("show_flowlog");
        print_opening(FORMAT(R"({{"data":[)"));
    }
    for (const Ranked& row : order) {
        const MaliciousRecord record = records[row.slot]; // a copy: the daemon may still write
        if (record.time == 0)
            continue;
        summarise(query.summaries, record);
        if (show && query.paging.holds(total))
            print_event(record, total == query.paging.start());
        todays += record.time >= today_start;
        total++;
    }
    if (show)
        print_closing(FORMAT(R"(], "today":{}, "total":{}}})"), todays, total);
}

} // namespace

int malclog_list(int argc, char** argv)
{
    Query query;
    Fetch fetch{.code = verb::get,
                .module = "malc",
                .argc = argc,
                .argv = argv,
                .write = write_leading,
                .extra = " log=1",
                .nul = ArgumentText::leave_nul};
    for (const char* argument : arguments(argc, argv))
        read_argument(argument, query);
    Answer answer;
    if (fetch_once(fetch, answer) != 0)
        return -1;
    std::span<const MaliciousRecord> records;
    if (!records_in(answer, records))
        return refuse_reply();
    std::span<const Ranked> order = newest_first(records);
    if (order.size() != records.size())
        return refuse("NO_MEM");
    expect_documents((query.flow_log != 0) + words_in(query.summaries) > 1);
    walk(query, records, order);
    print_summaries(query.summaries);
    return 0;
}

// ipobj listipa: the throughput of each address and application.
#include "base/address.h"
#include "base/document.h"
#include "base/units.h"
#include "common/fetch.h"
#include "common/pool.h"
#include "link/dictionary.h"
#include "reports/flow/flow.h"
#include "reports/flow/fold.h"
#include "wire/session.h"

namespace {

constexpr uint32_t code_throughput = 99;
constexpr char usage[] = "ipapinfo list [-ip xx.xx.xx.xx[-yy.yy.yy.yy]] [-s all|in|out] -app application";

using Key = uint64_t (*)(const ThroughputRecord&);
constexpr struct {
    const char* word;
    Key key;
} orders[] = {
    {"all", [](const ThroughputRecord& r) { return uint64_t{r.in_rate} + r.out_rate; }},
    {"in",  [](const ThroughputRecord& r) -> uint64_t { return r.in_rate; }           },
    {"out", [](const ThroughputRecord& r) -> uint64_t { return r.out_rate; }          },
};

struct Query {
    Key key = nullptr;     // null: as the daemon has them
    int limit = INT32_MAX; // records printed of each batch
    int raw = 0;           // plain numbers instead of units
};

bool read_order(const char* word, Query& query)
{
    for (const auto& row : orders)
        if (strcmp(row.word, word) == 0) {
            query.key = row.key;
            return true;
        }
    refuse("invalid sort type: all, in, out");
    return false;
}

// An option and the value behind it; false when the command ends here, with everything said.
bool read_option(const char* option, const char* value, Query& query)
{
    if (value == nullptr) {
        refuse(usage);
        return false;
    }
    if (strcmp(option, "-s") == 0)
        return read_order(value, query);
    if (strcmp(option, "-n") == 0)
        query.limit = atoi(value);
    return true;
}

bool is_option(const char* argument)
{
    for (const char* option : {"-ip", "-s", "-n", "-app"})
        if (strcmp(argument, option) == 0)
            return true;
    return false;
}

bool read_arguments(std::span<char*> words, Query& query)
{
    for (size_t i = 0; i < words.size(); i++) {
        if (is_option(words[i])) {
            if (!read_option(words[i], i + 1 < words.size() ? words[i + 1] : nullptr, query))
                return false;
            i++;
        } else {
            take_number(words[i], "rawdata=", query.raw);
        }
    }
    return true;
}

// What read_arguments() does not keep to itself; every option has its value.
void write_rest(ArgumentText& text, int argc, char** argv)
{
    for (int i = 0; i < argc; i++) {
        if (is_option(argv[i])) {
            const char* option = argv[i++];
            if (strcmp(option, "-ip") == 0 || strcmp(option, "-app") == 0) {
                text.append(strcmp(option, "-ip") == 0 ? " ip=" : " app=");
                text.append_argument(argv[i]);
            }
        } else if (value_of(argv[i], "rawdata=") == nullptr) {
            text.append_leading(argv[i]);
        }
    }
}

// Bits per second of a rate in bytes per second, followed by a blank.
struct BitRate {
    uint64_t bytes_per_second;
    bool raw;
    char* put(char* at) const
    {
        const uint64_t rate = bytes_per_second * 8;
        return raw ? put_row(at, FORMAT("{} "), rate) : Count{rate}.put(at);
    }
    static constexpr size_t most_bytes() { return Count::most_bytes(); }
};

void print_record(const ThroughputRecord& r, bool raw)
{
    print_line(FORMAT("{} {} {} {}{}{}{}"),
               EitherAddress{r.is_ipv6 == 1, r.address.bytes, r.address.ipv4_network()},
               text_of(application_name(r.application)), text_of(application_second_name(r.application)),
               BitRate{r.in_rate, raw}, BitRate{r.out_rate, raw},
               BitRate{uint64_t{r.in_rate} + r.out_rate, raw}, or_null(r.description.view()));
}

// Order and limit hold within one batch. False with "NO_MEM" printed.
bool print_batch(std::span<const ThroughputRecord> records, const Query& query)
{
    Paging paging{.page = 1, .limit = query.limit};
    if (query.key == nullptr || records.empty()) {
        for (size_t i = 0; i < records.size() && paging.holds(static_cast<int64_t>(i)); i++)
            print_record(records[i], query.raw != 0);
        return true;
    }
    auto* room = static_cast<Ranked*>(calloc(records.size(), sizeof(Ranked)));
    if (room == nullptr) {
        refuse("NO_MEM");
        return false;
    }
    Ranking ranking({room, records.size()}, paging.end());
    for (uint32_t i = 0; i < records.size(); i++)
        ranking.offer(query.key(records[i]), i);
    ranking.rank();
    for (size_t i = 0; i < ranking.held(); i++)
        print_record(records[ranking[i]], query.raw != 0);
    free(room);
    return true;
}

} // namespace

int ipobj_listipa(int argc, char** argv)
{
    Query query;
    if (!read_arguments(arguments(argc, argv), query))
        return -1;
    Fetch fetch{.code = code_throughput,
                .argc = argc,
                .argv = argv,
                .write = write_rest,
                .nul = ArgumentText::leave_nul,
                .dictionary_first = true};
    return fetch_records<ThroughputRecord>(fetch, [&](std::span<const ThroughputRecord> records) {
        return print_batch(records, query) ? Walk::on : Walk::failed;
    });
}

// tcpreset listip and listdns: the resets folded per address and per domain name.
#include "base/address.h"
#include "base/document.h"
#include "base/loaded_once.h"
#include "common/pool.h"
#include "link/dictionary.h"
#include "reports/flow/flow.h"
#include "reports/flow/reset_view.h"

#include <cstdio>

namespace {

// ---- What is counted

struct Slot {
    uint16_t value;
    bool present;
};

struct Counters {
    uint32_t records, newest, oldest; // oldest: 0 is unset
    uint32_t http, https;
    uint32_t status[4]; // 200-299, 300-399, 400-499, 500 and above; of names only
    Slot slots[8];      // chosen by a value's low 3 bits, the later replaces the earlier

    void add(const ResetRecord& r, uint16_t slot_value)
    {
        records++;
        newest = r.time > newest ? r.time : newest;
        oldest = oldest == 0 || r.time < oldest ? r.time : oldest;
        http += r.traffic_class() == reset_class::http;
        https += r.traffic_class() == reset_class::https;
        slots[slot_value & 7] = {.value = slot_value, .present = true};
    }
    void add_status(uint32_t code)
    {
        if (code >= 200)
            status[code < 500 ? code / 100 - 2 : 3]++;
    }
};

// A run fills the pool of its own listing.
using AddressPool = Pool<AddressKey, Counters, 4096, 256>;
using NamePool = Pool<TextKey<42>, Counters, 4096, 256>;

// ---- Arguments

constexpr struct {
    const char* word;
    uint64_t (*key)(const Counters&);
} sort_words[] = {
    {"flowcnt", [](const Counters& c) -> uint64_t { return c.records; }  },
    {"http",    [](const Counters& c) -> uint64_t { return c.http; }     },
    {"https",   [](const Counters& c) -> uint64_t { return c.https; }    },
    {"mintime", [](const Counters& c) -> uint64_t { return c.oldest; }   },
    {"maxtime", [](const Counters& c) -> uint64_t { return c.newest; }   },
    {"http20x", [](const Counters& c) -> uint64_t { return c.status[0]; }},
    {"http30x", [](const Counters& c) -> uint64_t { return c.status[1]; }},
    {"http40x", [](const Counters& c) -> uint64_t { return c.status[2]; }},
    {"http50x", [](const Counters& c) -> uint64_t { return c.status[3]; }},
};
constexpr size_t address_sort_words = 5, name_sort_words = std::size(sort_words);

struct Query {
    uint32_t first = 1, last = UINT32_MAX; // rows that are printed, counted from 1 over those that match
    const char* filter = nullptr;
    uint64_t (*key)(const Counters&) = nullptr;
    enum { no_order, ascending, descending } order = no_order;
    bool by_source = false; // listip: keyed by source address, otherwise by destination
};

// row=: false with the token printed for any other form.
bool read_rows(const char* value, Query& query)
{
    if (sscanf(value, "%u-%u", &query.first, &query.last) == 2)
        return true;
    refuse("INVALID_ROW");
    return false;
}

void read_order(const char* value, Query& query)
{
    query.order = strcmp(value, "asc") == 0    ? Query::ascending
                  : strcmp(value, "desc") == 0 ? Query::descending
                                               : Query::no_order;
}

bool read_arguments(int argc, char** argv, size_t words, Query& query)
{
    for (const char* argument : arguments(argc, argv)) {
        if (const char* row = value_of(argument, "row=")) {
            if (!read_rows(row, query))
                return false;
        } else if (const char* order = value_of(argument, "order=")) {
            read_order(order, query);
        } else if (const char* word = value_of(argument, "sort=")) {
            for (const auto& known : std::span(sort_words, words))
                if (strcmp(known.word, word) == 0)
                    query.key = known.key;
        } else if (const char* side = value_of(argument, "type=")) {
            query.by_source = strcmp(side, "src") == 0 || (query.by_source && strcmp(side, "dst") != 0);
        } else {
            take_text(argument, "filter=", query.filter);
        }
    }
    return true;
}

// ---- Output

// The entries that match in the order asked for; `total` counts them all.
template <class Pool, class Matches, class Print>
void print_rows(const Pool& pool, const Query& query, bool largest_first, Matches&& matches,
                Print&& print_entry)
{
    Ranking ranking(pool.ranking_room(), query.last);
    bool ordered = query.key != nullptr && query.order != Query::no_order;
    for (uint32_t i = 0; i < pool.size(); i++) {
        const auto& entry = pool[i];
        if (query.filter != nullptr && !matches(entry.key, query.filter))
            continue;
        uint64_t key = ordered ? query.key(entry.counters) : 0;
        ranking.offer(largest_first ? key : ascending_key(key), i);
    }
    ranking.rank();
    print_opening(FORMAT(R"({{"data":[)"));
    const size_t first = query.first > 1 ? query.first - 1 : 0;
    for (size_t i = first; i < ranking.held(); i++)
        print_entry(pool[ranking[i]], comma_unless(i == first));
    print_closing(FORMAT(R"(],"total":{}}})"), ranking.total());
}

// The last member of an entry: its key and the occupied slots in one string.
void print_slots(const Counters& c, bool applications)
{
    if (applications)
        print(FORMAT(R"(,"app":")"));
    else
        print(FORMAT(R"(,"port":")"));
    std::string_view comma = "";
    for (const Slot& slot : c.slots) {
        if (!slot.present)
            continue;
        if (applications)
            print(FORMAT("{}{}|{}"), comma, text_of(application_name(slot.value)),
                  text_of(application_second_name(slot.value)));
        else
            print(FORMAT("{}{}"), comma, slot.value);
        comma = ",";
    }
    print(FORMAT(R"("}})"));
}

EitherAddress address_of(const AddressKey& key)
{
    WireAddress address;
    memcpy(address.bytes, key.address.bytes, sizeof address.bytes);
    return {key.address.is_ipv6, key.address.bytes, address.ipv4_network()};
}

bool address_holds(const AddressKey& key, std::string_view part)
{
    char text[EitherAddress::most_bytes()];
    const char* end = address_of(key).put(text);
    return std::string_view(text, static_cast<size_t>(end - text)).find(part) != std::string_view::npos;
}

bool name_holds(const TextKey<42>& name, std::string_view part)
{
    return name.value().find(part) != std::string_view::npos;
}

// The number of HTTPS records is a text in both listings, kept so.
void print_address(const AddressPool::Entry& entry, Separator separator, bool by_source)
{
    const Counters& c = entry.counters;
    print(FORMAT(R"({}{{"ip":"{}","flowcnt":{},"http":{},"https":"{}","maxtime":{}, "mintime":{})"),
          separator, address_of(entry.key), c.records, c.http, c.https, c.newest, c.oldest);
    print_slots(c, by_source);
}

void print_name(const NamePool::Entry& entry, Separator separator)
{
    const Counters& c = entry.counters;
    print(FORMAT(R"({}{{"dns":"{}","flowcnt":{},"http":{},"https":"{}","maxtime":{}, "mintime":{})"
                 R"(,"http20x":{},"http30x":{},"http40x":{},"http50x":{})"),
          separator, entry.key.value(), c.records, c.http, c.https, c.newest, c.oldest, c.status[0],
          c.status[1], c.status[2], c.status[3]);
    print_slots(c, false);
}

AddressKey::Value key_of(const ResetRecord& r, const ResetAddresses* ipv6, bool by_source)
{
    AddressKey::Value value{.bytes = {}, .is_ipv6 = ipv6 != nullptr};
    if (ipv6 != nullptr)
        memcpy(value.bytes, (by_source ? ipv6->source : ipv6->destination).bytes, sizeof value.bytes);
    else
        memcpy(value.bytes, by_source ? &r.source : &r.destination, sizeof r.source);
    return value;
}

} // namespace

int tcpreset_listip(int argc, char** argv)
{
    Query query;
    if (!read_arguments(argc, argv, address_sort_words, query))
        return -1;
    const bool by_source = query.by_source;
    Fetch fetch = reset_request(argc, argv);
    fetch.dictionary_first = by_source;
    AddressPool pool;
    if (fetch_resets(fetch, [&](const ResetRecord& r, const ResetAddresses* ipv6) {
            if (Counters* counters = pool.at(key_of(r, ipv6, by_source)))
                counters->add(r, static_cast<uint16_t>(by_source ? r.application() : r.destination_port));
        }) != 0)
        return -1;
    // "asc" puts the largest first here, the smallest in listdns; kept so.
    print_rows(pool, query, query.order == Query::ascending, address_holds,
               [&](const auto& entry, Separator separator) { print_address(entry, separator, by_source); });
    return 0;
}

int tcpreset_listdns(int argc, char** argv)
{
    Query query;
    if (!read_arguments(argc, argv, name_sort_words, query))
        return -1;
    Fetch fetch = reset_request(argc, argv);
    NamePool pool;
    if (fetch_resets(fetch, [&](const ResetRecord& r, const ResetAddresses*) {
            if (r.name.empty())
                return;
            if (Counters* counters = pool.at(r.name.view())) {
                counters->add(r, r.destination_port);
                counters->add_status(loaded_once(r.http_status()));
            }
        }) != 0)
        return -1;
    print_rows(pool, query, query.order == Query::descending, name_holds, print_name);
    return 0;
}

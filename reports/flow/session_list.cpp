// ipobj listbussflow: one line a session, as the daemon has them or sorted.
#include "base/address.h"
#include "base/document.h"
#include "common/fetch.h"
#include "common/rows.h"
#include "reports/flow/flow.h"
#include "reports/flow/session_line.h"

#include <ctime>

namespace {

// ---- Filter

struct PortRange {
    int low = 0, high = 65535;
    bool holds(int port) const { return port >= low && port <= high; }
};

struct AddressFilter {
    bool set = false;
    WireAddress address{}; // in network order
    bool passes(const WireAddress& other, bool is_ipv6, AddressFamily family) const
    {
        if (!set)
            return true;
        if (family == family_ipv6)
            return is_ipv6 && memcmp(other.bytes, address.bytes, sizeof address.bytes) == 0;
        return other.ipv4_host() == address.ipv4_network(); // of an IPv6 session too
    }
};

struct SessionFilter {
    int vpaid = 0; // 0: any
    PortRange source_ports, destination_ports;
    AddressFilter source, destination;
    AddressFamily family = family_none; // of whichever address was typed last; serves both, kept so

    bool passes(const SessionRecord& r) const
    {
        return (vpaid == 0 || r.vpaid == vpaid) && source_ports.holds(r.source_port) &&
               destination_ports.holds(r.destination_port) && source.passes(r.source, r.is_ipv6(), family) &&
               destination.passes(r.destination, r.is_ipv6(), family);
    }
};

// "lo-hi" or one port
bool take_ports(const char* argument, std::string_view key, PortRange& range)
{
    const char* value = value_of(argument, key);
    if (value == nullptr)
        return false;
    const char* dash = strchr(value, '-');
    range.low = atoi(value);
    range.high = dash != nullptr ? atoi(dash + 1) : range.low;
    return true;
}

// A text that is no address says so and changes nothing.
bool take_address(const char* argument, std::string_view key, AddressFilter& filter, AddressFamily& family)
{
    const char* value = value_of(argument, key);
    if (value == nullptr)
        return false;
    WireAddress address;
    AddressFamily typed = parse_address(value, address.bytes);
    if (typed == family_none) {
        note("INV_IPEFLOW");
        return true;
    }
    // The parser takes "0.0.0.0" for the all-zero IPv6 address; a session may well have it as IPv4.
    family = strchr(value, ':') != nullptr ? typed : family_ipv4;
    filter = {.set = true, .address = address};
    return true;
}

bool take_filter(const char* argument, SessionFilter& filter)
{
    return take_number(argument, "vpaid=", filter.vpaid) ||
           take_ports(argument, "sport=", filter.source_ports) ||
           take_ports(argument, "dport=", filter.destination_ports) ||
           take_address(argument, "src=", filter.source, filter.family) ||
           take_address(argument, "dst=", filter.destination, filter.family);
}

// ---- Orders

// The first bytes of a text as a number that orders as they do.
uint64_t text_key(std::string_view text)
{
    uint64_t key = 0;
    memcpy(&key, text.data(), text.size() < sizeof key ? text.size() : sizeof key);
    return __builtin_bswap64(key);
}

uint64_t paired_key(uint32_t first, uint32_t second)
{
    return uint64_t{first} << 32 | second;
}

using S = SessionRecord;
struct SessionOrder {
    std::string_view word;
    Order<S> order;
    bool by_delay = false; // the key is a delay: see delay_key()
};
// clang-format off
constexpr SessionOrder sort_words[] = {
    {"app",       {[](const S& r) -> uint64_t { return r.application; }}},
    {"time",      {[](const S& r) -> uint64_t { return r.birth; }}},
    {"bytes",     {[](const S& r) -> uint64_t { return r.up_bytes + r.down_bytes; }}}, // 32 bits wide
    {"proto",     {[](const S& r) -> uint64_t { return r.protocol; }}},
    {"dst",       {[](const S& r) { return paired_key(r.destination.word(0), r.destination_port); }}},
    {"host",      {[](const S& r) { return text_key(r.host()); },
                   [](const S& a, const S& b) { return b.host().compare(a.host()); }}},
    {"clntdelay", {[](const S& r) -> uint64_t { return r.client_delay; }}, true},
    {"svrdelay",  {[](const S& r) -> uint64_t { return r.server_delay; }}, true},
    {"appdelay",  {[](const S& r) -> uint64_t { return r.app_delay; }}, true},
    {"rexup",     {[](const S& r) { return paired_key(r.up_rexmits, r.up_packets); }}},
    {"rexdn",     {[](const S& r) { return paired_key(r.down_rexmits, r.down_packets); }}},
};
// clang-format on

// Delays are compared by their signed difference, so a larger one is up to 2^31 ahead, across the end of the
// range too. Their differences to one of them, the origin, put them into that order.
uint64_t delay_key(uint64_t delay, uint64_t origin)
{
    return signed_key(static_cast<int32_t>(delay - origin));
}

// ---- The listing

struct Query {
    const SessionOrder* sort = nullptr; // null: as the daemon has them
    int count = 262144;                 // sessions looked at when not sorted
    Paging paging{.page = 1, .limit = 100};
    SessionFilter filter;
    SessionLine line;
};

// sort=: false with the message printed for an unknown word.
bool read_sort(const char* word, Query& query)
{
    for (const SessionOrder& row : sort_words)
        if (row.word == word) {
            query.sort = &row;
            return true;
        }
    refuse(FORMAT("Invalid sort type {}"), text_of(word));
    return false;
}

bool take(const char* argument, Query& query)
{
    int rexmits;
    if (take_number(argument, "show_rexmit=", rexmits)) {
        query.line.only_rexmitted = rexmits != 0;
        return true;
    }
    if (strcmp(argument, "lang=en") == 0) {
        query.line.english = true;
        return true;
    }
    return take_number(argument, "count=", query.count) || take_paging(argument, query.paging) ||
           take_filter(argument, query.filter);
}

int list_as_they_come(const Fetch& fetch, const Query& query)
{
    int64_t matched = 0;
    int result = fetch_records<SessionRecord>(fetch, [&](std::span<const SessionRecord> records) {
        // Each batch is looked at up to what is still missing; the later ones are fetched all the same.
        int64_t missing = query.count - matched;
        if (missing < static_cast<int64_t>(records.size()))
            records = records.first(missing > 0 ? static_cast<size_t>(missing) : 0);
        for (const SessionRecord& r : records) {
            if (!query.filter.passes(r))
                continue;
            if (query.paging.holds(matched))
                print_session(r, query.line);
            matched++;
        }
        return Walk::on;
    });
    if (result == 0)
        print_line(FORMAT("total {}"), matched);
    return result;
}

int list_sorted(const Fetch& fetch, const Query& query)
{
    const SessionOrder& sort = *query.sort;
    Rows<SessionRecord> rows(sort.order);
    rows.want_until(query.paging.end());
    uint64_t origin = 0; // the delay of the first session that is kept
    auto key_of = [&](const SessionRecord& r) {
        const uint64_t key = sort.order.key(r);
        if (rows.total() == 0)
            origin = key;
        return sort.by_delay ? delay_key(key, origin) : key;
    };
    int result = fetch_records<SessionRecord>(fetch, [&](std::span<const SessionRecord> records) {
        for (const SessionRecord& r : records)
            if (query.filter.passes(r) && !rows.keep(r, key_of(r)))
                return Walk::end; // no memory: what was collected is listed
        return Walk::on;
    });
    if (result != 0)
        return result;
    rows.rank();
    rows.print_page(query.paging, [&](const SessionRecord& r, bool) { print_session(r, query.line); });
    print_line(FORMAT("total {}"), rows.total());
    return 0;
}

} // namespace

int ipobj_listbussflow(int argc, char** argv)
{
    Query query;
    Fetch fetch{.module = "obsbussflow",
                .argv = argv,
                .write = write_leading,
                .dictionary_first = true,
                .stop_when_empty = true};
    for (char* argument : arguments(argc, argv)) {
        if (const char* word = value_of(argument, "sort=")) {
            if (!read_sort(word, query))
                return -1;
        } else if (!take(argument, query)) {
            fetch.forward(argument);
        }
    }
    query.line.now = static_cast<uint32_t>(time(nullptr));
    return query.sort != nullptr ? list_sorted(fetch, query) : list_as_they_come(fetch, query);
}

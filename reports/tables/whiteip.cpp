// whiteip: the white list of trusted endpoints, as flows and as addresses.
#include "base/address.h"
#include "base/document.h"
#include "common/fetch.h"
#include "common/rows.h"
#include "reports/tables/tables.h"
#include "wire/white_list.h"

namespace {

struct Query {
    Paging paging{.page = 1, .limit = 100};
    JsonChoice json;
    bool by_address = false;
    uint32_t address = 0;
};

// Every argument goes to the daemon too. False with the message printed.
bool read_query(int argc, char** argv, Query& query, Fetch& fetch)
{
    for (char* argument : arguments(argc, argv)) {
        const char* ip = nullptr;
        if (take_text(argument, "ip=", ip)) {
            query.by_address = true;
            if (!parse_ipv4(ip, query.address)) {
                refuse("invalid ip");
                return false;
            }
        }
        take_json(argument, "showjson=", query.json) || take_paging(argument, query.paging);
        if (!withholds_json(argument, "showjson="))
            fetch.forward(argument);
    }
    return true;
}

void print_flow(const WhiteFlowRecord& r, bool json, bool first)
{
    if (json)
        print(FORMAT(R"({}{{"src":"{}", "sport":{}, "srcmac":"{}")"
                     R"(, "dst":"{}", "dport":{}, "birth":{}, "proto":{}}})"),
              comma_unless(first), Ipv4{r.source}, r.source_port, MacAddress{r.source_mac, ':'},
              Ipv4{r.destination}, r.destination_port, r.birth, r.protocol);
    else
        print_line(FORMAT("{} {} {} {} {} {} {}"), Ipv4{r.source}, r.source_port,
                   MacAddress{r.source_mac, ':'}, Ipv4{r.destination}, r.destination_port, r.birth,
                   r.protocol);
}

void print_address(const WhiteAddressRecord& r, bool json, bool first)
{
    if (json)
        print(FORMAT(R"({}{{"ip":"{}","birth":{},"lasttime":{},"flows":{},"desc":"{}"}})"),
              comma_unless(first), Ipv4{r.address}, r.birth, r.last_time, r.flows, r.description);
    else
        print_line(FORMAT("{} {} {} {} {}"), Ipv4{r.address}, r.birth, r.last_time, r.flows, r.description);
}

uint64_t by_flows(const WhiteAddressRecord& r)
{
    return r.flows;
}

} // namespace

// Prints while it walks. The daemon filters by "ip=".
int whiteip_list(int argc, char** argv)
{
    Query query;
    Fetch fetch{.module = "whiteip", .argv = argv};
    if (!read_query(argc, argv, query, fetch))
        return -1;
    if (!request_fits(fetch))
        return -1;
    if (query.json)
        print_opening(FORMAT(R"({{"list":[)"));
    const bool json{query.json};
    int64_t index = 0;
    auto show = [&](const WhiteFlowRecord& r) {
        if (query.paging.holds(index))
            print_flow(r, json, index == query.paging.start());
        index++;
        return true;
    };
    if (fetch_each<WhiteFlowRecord>(fetch, show) != 0)
        return -1;
    if (query.json)
        print_closing(FORMAT(R"(], "total":{}}})"), index);
    return 0;
}

int whiteip_get(int argc, char** argv)
{
    Query query;
    Fetch fetch{.code = verb::get, .module = "whiteip", .argv = argv};
    if (!read_query(argc, argv, query, fetch))
        return -1;
    Rows<WhiteAddressRecord> rows({by_flows});
    rows.want_until(query.paging.end());
    auto keep = [&](const WhiteAddressRecord& r) {
        return (query.by_address && r.address != query.address) || rows.keep(r);
    };
    if (fetch_each<WhiteAddressRecord>(fetch, keep) != 0)
        return -1;
    rows.rank();
    const bool json{query.json};
    if (json)
        print_opening(FORMAT(R"({{"list":[)"));
    rows.print_page(query.paging,
                    [&](const WhiteAddressRecord& r, bool first) { print_address(r, json, first); });
    if (json)
        print_closing(FORMAT(R"(], "total":{}}})"), rows.total());
    return 0;
}

// The usage names other keys than those that are sent: kept so.
int whiteip_config(int argc, char** argv)
{
    if (argc < 1)
        return refuse("usage:tblid=n offline_ttl=n badip_ttl=n");
    Fetch fetch{.code = verb::config, .module = "whiteip", .argv = argv};
    for (char* argument : arguments(argc, argv))
        for (const char* key : {"id=", "name=", "addr="})
            if (value_of(argument, key) != nullptr)
                fetch.forward(argument);
    Answer answer;
    return fetch_once(fetch, answer);
}

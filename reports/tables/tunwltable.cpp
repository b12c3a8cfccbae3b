// tunwltable, dnstunwltable: the addresses and domain names that are exempt from tunnel detection.
#include "base/address.h"
#include "base/document.h"
#include "common/arguments.h"
#include "common/fetch.h"
#include "reports/tables/tables.h"
#include "wire/white_list.h"

namespace {

// A query of its own for each; the extra argument follows those that were typed.
struct Kind {
    std::string_view word;
    const char* extra;
};
constexpr Kind kinds[] = {
    {"ip",  "type=ip " },
    {"dns", "type=dns "},
};

struct Listing {
    Paging paging{.page = 1, .limit = 100};
    const char* type = nullptr; // both kinds
    int64_t index = 0;          // runs over both

    bool wants(const Kind& kind) const { return type == nullptr || kind.word == type; }
};

void print_entry(const TunnelWhiteRecord& r, Separator separator)
{
    if (r.is_name())
        print(FORMAT(R"({}"{}")"), separator, r.name);
    else
        print(FORMAT(R"({}"{}")"), separator, Ipv4{r.address()});
}

int list_kind(Listing& listing, const Fetch& fetch)
{
    return fetch_each<TunnelWhiteRecord>(fetch, [&](const TunnelWhiteRecord& r) {
        if (listing.paging.holds(listing.index))
            print_entry(r, comma_unless(listing.index == listing.paging.start()));
        listing.index++;
        return true;
    });
}

// Prints while it walks.
int list_tunnels(const char* module, int argc, char** argv)
{
    Listing listing;
    for (const char* argument : arguments(argc, argv))
        take_paging(argument, listing.paging) || take_text(argument, "type=", listing.type);
    auto request = [&](const Kind& kind) {
        return Fetch{.module = module, .argc = argc, .argv = argv, .extra = kind.extra};
    };
    for (const Kind& kind : kinds)
        if (listing.wants(kind) && !request_fits(request(kind)))
            return -1;
    print_opening(FORMAT(R"({{"data":[)"));
    for (const Kind& kind : kinds)
        if (listing.wants(kind) && list_kind(listing, request(kind)) != 0)
            return -1;
    print_closing(FORMAT(R"(], "count":{}}})"), listing.index);
    return 0;
}

} // namespace

int tunwltable_list(int argc, char** argv)
{
    return list_tunnels("tunwltable", argc, argv);
}

int dnstunwltable_list(int argc, char** argv)
{
    return list_tunnels("dnstunwltable", argc, argv);
}

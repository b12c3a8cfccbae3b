// tunwltable, dnstunwltable: the addresses and domain names that are exempt from tunnel detection.
#include "base/address.h"
#include "base/output.h"
#include "common/arguments.h"
#include "common/fetch.h"
#include "reports/tables/tables.h"
#include "wire/white_list.h"

namespace {

struct Listing {
    const char* module;
    Paging paging{.page = 1, .limit = 100};
    int64_t index = 0; // runs over both kinds
};

void print_entry(const TunnelWhiteRecord& r, const char* lead)
{
    if (r.is_name())
        print(R"(%s"%s")", lead, text_of(r.name).text);
    else
        print(R"(%s"%s")", lead, ipv4_text(r.address()).text);
}

// A query of its own for each kind; `kind` follows the arguments.
int list_kind(Listing& listing, const char* kind, int argc, char** argv)
{
    char extra[sizeof "type=dns "];
    snprintf(extra, sizeof extra, "%s ", kind);
    Fetch fetch{.module = listing.module, .argc = argc, .argv = argv, .extra = extra};
    return fetch_each<TunnelWhiteRecord>(fetch, [&](const TunnelWhiteRecord& r) {
        if (listing.paging.holds(listing.index))
            print_entry(r, listing.index == listing.paging.start() ? "" : ",");
        listing.index++;
        return true;
    });
}

// Prints while it walks.
int list_tunnels(const char* module, int argc, char** argv)
{
    Listing listing{.module = module};
    const char* type = nullptr; // both kinds
    for (const char* argument : arguments(argc, argv))
        take_paging(argument, listing.paging) || take_text(argument, "type=", type);
    print(R"({"data":[)");
    for (const char* kind : {"type=ip", "type=dns"}) {
        bool wanted = type == nullptr || strcmp(type, kind + strlen("type=")) == 0;
        if (wanted && list_kind(listing, kind, argc, argv) != 0)
            return -1;
    }
    print(R"(], "count":%d})", static_cast<int>(listing.index));
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

// outconnect listflow and dnsflow listflow: a page of single flows.
#include "base/output.h"
#include "common/fetch.h"
#include "link/dictionary.h"
#include "reports/flow/address_text.h"
#include "reports/flow/flow.h"
#include "reports/flow/flow_view.h"
#include "reports/flow/fold.h"

namespace {

// The host name with a terminator.
struct HostText {
    char text[sizeof(FlowRecord::texts) + 1];
};

HostText host_text(const FlowRecord& r)
{
    std::string_view host = r.host();
    HostText out;
    memcpy(out.text, host.data(), host.size());
    out.text[host.size()] = '\0';
    return out;
}

void print_flow(const FlowRecord& r, const char* separator)
{
    const bool is_ipv6 = r.is_ipv6();
    const uint32_t id = r.application;
    DescriptionText description{"NULL"}; // of IPv4 sources only
    if (!is_ipv6)
        description = description_of(r.source.ipv4_host());
    // clang-format off
    print(R"(%s{"src":"%s", "sport":%d)"
          R"(,"desc":"%s")"
          R"(,"dst":"%s", "dport":%d)"
          R"(,"apid":%d, "name":"%s", "cname":"%s")"
          R"(,"upbytes":%u, "downbytes":%u)"
          R"(,"locisp":"%s")"
          R"(,"proto":%d)"
          R"(,"host":"%s"})",
          separator, address_text(is_ipv6, r.source, r.source.ipv4_host()).text, r.source_port,
          description.text,
          address_text(is_ipv6, r.destination, r.destination.ipv4_host()).text, r.destination_port,
          static_cast<int>(id), application_name(id), application_second_name(id),
          r.up_bytes, r.down_bytes,
          location_text(r.location).text,
          r.protocol,
          host_text(r).text);
    // clang-format on
}

int list_flows(const char* module, int ischina, int argc, char** argv)
{
    Paging paging{.page = 1, .limit = 10};
    FoldOrder order = FoldOrder::arrival; // sort= is taken, and has no effect
    Fetch fetch{.module = module, .argv = argv};
    for (char* argument : arguments(argc, argv))
        if (!take_fold_order(argument, order, false) && !take_paging(argument, paging) &&
            !take_number(argument, "ischina=", ischina))
            fetch.forward(argument);
    if (!request_fits(fetch))
        return -1;
    desc_init(); // without descriptions the report goes on
    int64_t counted = 0;
    print_text(R"({"data":[)");
    if (fetch_each<FlowRecord>(fetch, [&](const FlowRecord& r) {
            if (left_out(r, ischina))
                return true;
            if (paging.holds(counted))
                print_flow(r, counted > paging.start() ? "," : "");
            counted++;
            return true;
        }) != 0)
        return -1;
    print(R"(], "total":%d})", static_cast<int>(counted));
    return 0;
}

} // namespace

int outconnect_listflow(int argc, char** argv)
{
    return list_flows("flow2", -1, argc, argv);
}

int dnsflow_listflow(int argc, char** argv)
{
    return list_flows("flow", 0, argc, argv);
}

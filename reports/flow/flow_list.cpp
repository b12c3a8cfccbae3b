// outconnect listflow and dnsflow listflow: a page of single flows.
#include "base/address.h"
#include "base/document.h"
#include "common/fetch.h"
#include "link/dictionary.h"
#include "reports/flow/flow.h"
#include "reports/flow/flow_view.h"
#include "reports/flow/fold.h"

namespace {

void print_flow(const FlowRecord& r, Separator separator)
{
    auto address = [&](const WireAddress& either) {
        return EitherAddress{r.is_ipv6(), either.bytes, either.ipv4_host()};
    };
    const uint32_t id = r.application;
    print(FORMAT(R"({}{{"src":"{}", "sport":{})"), separator, address(r.source), r.source_port);
    if (r.is_ipv6())
        print(FORMAT(R"(,"desc":"NULL")")); // only IPv4 sources are described
    else
        print(FORMAT(R"(,"desc":"{}")"), Description{r.source.ipv4_host()});
    // clang-format off
    print(FORMAT(R"(,"dst":"{}", "dport":{})"
                 R"(,"apid":{}, "name":"{}", "cname":"{}")"
                 R"(,"upbytes":{}, "downbytes":{})"
                 R"(,"locisp":"{}")"
                 R"(,"proto":{})"
                 R"(,"host":"{}"}})"),
          address(r.destination), r.destination_port,
          static_cast<int>(id), text_of(application_name(id)), text_of(application_second_name(id)), // a signed id
          r.up_bytes, r.down_bytes,
          LocationText{r.location},
          r.protocol,
          r.host());
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
    print_opening(FORMAT(R"({{"data":[)"));
    if (fetch_each<FlowRecord>(fetch, [&](const FlowRecord& r) {
            if (left_out(r, ischina))
                return true;
            if (paging.holds(counted))
                print_flow(r, comma_unless(counted == paging.start()));
            counted++;
            return true;
        }) != 0)
        return -1;
    print_closing(FORMAT(R"(], "total":{}}})"), counted);
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

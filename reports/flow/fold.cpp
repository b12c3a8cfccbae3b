#include "reports/flow/fold.h"

#include "base/output.h"
#include "base/wire_types.h"
#include "common/arguments.h"

bool take_fold_order(const char* argument, FoldOrder& order, bool with_delay)
{
    const char* word = value_of(argument, "sort=");
    if (word == nullptr)
        return false;
    if (value_of(word, "byte") != nullptr)
        order = FoldOrder::bytes;
    else if (with_delay && value_of(word, "delay") != nullptr)
        order = FoldOrder::delay;
    else if (strcmp(word, "flow") == 0)
        order = FoldOrder::flows;
    return true;
}

void print_names(const NamePool& pool, const Paging& paging)
{
    print(R"({"total":%d, "data":[)", static_cast<int>(pool.size()));
    print_page(pool, paging, by_flows<NameCounters>, [&](const NamePool::Entry& entry, int64_t i) {
        print(R"(%s{"dns":"%s", "flow":%u})", i > paging.start() ? "," : "", entry.key.text,
              entry.counters.flows);
    });
    print_text("]}");
}

DescriptionText description_of(uint32_t ip)
{
    be32 address;
    address = ip;
    DescriptionText out;
    if (ipdesc_get(&address, 4, out.text, sizeof out.text) == nullptr)
        memcpy(out.text, "NULL", sizeof "NULL");
    return out;
}

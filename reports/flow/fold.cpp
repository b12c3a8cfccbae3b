#include "reports/flow/fold.h"

#include "base/document.h"
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
    print_opening(FORMAT(R"({{"total":{}, "data":[)"), pool.size());
    print_page(pool, paging, by_flows<NameCounters>, [&](const NamePool::Entry& entry, int64_t i) {
        print(FORMAT(R"({}{{"dns":"{}", "flow":{}}})"), comma_unless(i == paging.start()), entry.key.value(),
              entry.counters.flows);
    });
    print_closing(FORMAT("]}}"));
}

char* Description::put(char* at) const
{
    be32 address;
    address = ip;
    char text[description_room];
    return put_text(at, text_of(ipdesc_get(&address, 4, text, sizeof text) != nullptr ? text : "NULL"));
}

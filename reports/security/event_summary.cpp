#include "reports/security/event_summary.h"

#include "base/document.h"
#include "common/order.h"
#include "reports/security/fixed_pool.h"

namespace {

constexpr size_t type_room = 128, interface_room = 16, malicious_room = 32;

FixedPool<FixedPoolText<32>, uint16_t, type_room, 64> types; // counts wrap at 65536, kept so
static_assert(decltype(EventLogRecord::evtype)::width < 32, "every type fits its key uncut");
// What the message says: with a pointer an entry for sorting, which here is done on the stack.
constexpr long said_bytes = types.bytes + type_room * sizeof(void*);
static_assert(said_bytes == 7168);

// Named counts, used from the front; a slot is in use when its name is not empty.
struct NamedCount {
    FixedGbkText<16> name; // of insname_ch
    uint32_t count;
};
struct NamedCounts {
    NamedCount interfaces[interface_room];
    NamedCount malicious[malicious_room];
};
static_assert(sizeof(NamedCounts) == 960);
NamedCounts* named;

int all, today_num, today_read, levels[4];

// A name is cut to what a slot holds; when every slot is taken, new names are dropped.
void count_name(std::span<NamedCount> slots, std::string_view name)
{
    name = name.substr(0, sizeof NamedCount::name - 1);
    if (name.empty())
        return;
    for (NamedCount& slot : slots) {
        if (slot.name.empty())
            slot.name.assign(name);
        if (slot.name.view() == name) {
            slot.count++;
            return;
        }
    }
}

// Calls print_item(item, separator) for those of `items` that are in use, the largest count first.
template <size_t room, class Item, class CountOf, class PrintItem>
void print_by_count(std::span<const Item> items, CountOf&& count_of, PrintItem&& print_item)
{
    Ranked order[room];
    for (uint32_t i = 0; i < items.size(); i++)
        order[i] = {.key = count_of(items[i]), .arrival = i, .slot = i};
    rank_first({order, items.size()}, items.size(), {});
    for (size_t i = 0; i < items.size(); i++)
        print_item(items[order[i].slot], comma_unless(i == 0));
}

// The slots in use.
std::span<const NamedCount> used(std::span<const NamedCount> slots)
{
    size_t count = 0;
    while (count < slots.size() && !slots[count].name.empty())
        count++;
    return slots.first(count);
}

uint64_t count_of_slot(const NamedCount& slot)
{
    return slot.count;
}

void print_types()
{
    using Entry = decltype(types)::Entry;
    print_opening(FORMAT(R"(, "evtype":[)"));
    print_by_count<type_room>(
        types.entries(), [](const Entry& type) -> uint64_t { return type.counters; },
        [](const Entry& type, Separator separator) {
            print(FORMAT(R"({}{{"type":"{}", "num":{}}})"), separator, type.key.view(), type.counters);
        });
    print_closing(FORMAT("]"));
}

void print_named()
{
    print_opening(FORMAT(R"(,"if":[)"));
    print_by_count<interface_room>(
        used(named->interfaces), count_of_slot, [](const NamedCount& slot, Separator separator) {
            print(FORMAT(R"({}{{"ifname":"{}", "num":{}}})"), separator, slot.name, slot.count);
        });
    print_closing(FORMAT("]"));
    print_opening(FORMAT(R"(,"mal":[)"));
    print_by_count<malicious_room>(
        used(named->malicious), count_of_slot, [](const NamedCount& slot, Separator separator) {
            print(FORMAT(R"({}{{"malname":"{}", "num":{}}})"), separator, slot.name, slot.count);
        });
    print_closing(FORMAT("]"));
}

} // namespace

int event_summary_start()
{
    if (!types.prepare())
        return refuse(FORMAT("fail to malloc evtype_pool({}) bytes"), said_bytes);
    named = static_cast<NamedCounts*>(calloc(1, sizeof(NamedCounts)));
    if (named == nullptr)
        return refuse(FORMAT("fail to alloc if pool({}) bytes"), sizeof(NamedCounts));
    return 0;
}

void event_summary_count(const EventLogRecord& event, const Today& today)
{
    std::string_view type = event.evtype.view();
    all++;
    if (today.holds(event.evdeath)) {
        today_num++;
        today_read += event.rdstat();
    }
    if (auto* entry = types.at(type))
        entry->counters++;
    if (type == "if")
        count_name(named->interfaces, event.insname_ch.view());
    if (type == "malicious")
        count_name(named->malicious, event.insname_ch.view());
    levels[event.alarm_level()]++;
}

void event_summary_print()
{
    print_opening(
        FORMAT(R"({{"all":{}, "today_num":{}, "today_read":{}, "today_unread":{}, "level":[{},{},{},{}])"),
        all, today_num, today_read, today_num - today_read, levels[0], levels[1], levels[2], levels[3]);
    print_types();
    print_named();
    print_closing(FORMAT("}}"));
}

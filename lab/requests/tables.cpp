// IP tables: one set of tables, reached through both daemons.
#include "base/address.h"
#include "lab/requests/appliance.h"
#include "lab/requests/ip_tables.h"
#include "lab/requests/list_file.h"
#include "lab/requests/listing.h"
#include "lab/requests/session_filter.h"
#include "wire/white_list.h"

#include <unordered_map>

namespace {

constexpr size_t members_max = 1 << 20;
constexpr uint32_t range_max = 65536; // addresses that one request adds or removes

std::string table_text(const Turn& turn)
{
    for (const char* key : {"tid", "table", "tag", "id", "name"})
        if (auto text = turn.value(key))
            return *text;
    return turn.word(0);
}

IpTable* table_asked_for(World& world, Turn& turn, const std::string& text)
{
    IpTable* table = table_called(world, text);
    if (table == nullptr)
        turn.refuse(lab_error::unknown, "NO_TABLE");
    return table;
}

IpTable* make_table(World& world, Turn& turn, const std::string& text)
{
    bool number = text.find_first_not_of("0123456789") == text.npos;
    uint32_t id = number && text.size() < 6 ? static_cast<uint32_t>(strtoul(text.c_str(), nullptr, 10)) : 0;
    if (text.empty() || (number && (id == 0 || id > tables_max)))
        return turn.refuse(lab_error::invalid, "INV_TABLE"), nullptr;
    for (uint32_t free = 1; id == 0 && free <= tables_max; free++)
        if (item_with_id(world.ip_tables, free) == nullptr)
            id = free;
    if (id == 0)
        return turn.refuse(lab_error::full, "POOL_FULL"), nullptr;
    std::string name = number ? "table" + text : text.substr(0, 63);
    return &world.ip_tables.emplace_back(IpTable{static_cast<uint16_t>(id), name, {}});
}

// Adds what is not there yet; the information text of what is there is replaced.
void add_range(IpTable& table, uint32_t low, uint32_t high, const std::string& info)
{
    std::unordered_map<uint32_t, size_t> places;
    for (size_t i = 0; i < table.members.size(); i++)
        places[table.members[i].address.ipv4()] = i;
    for (uint64_t ip = low; ip <= high; ip++) {
        auto there = places.find(static_cast<uint32_t>(ip));
        if (there == places.end() && table.members.size() < members_max)
            table.members.push_back({ipv4_address(static_cast<uint32_t>(ip)), info});
        else if (there != places.end() && !info.empty())
            table.members[there->second].info = info;
    }
}

bool range_asked_for(Turn& turn, AddressFilter& range)
{
    std::string text = turn.value("ip").value_or(turn.word(1));
    if (!range.read(text) || range.ipv6 || range.low > range.high || range.high - range.low >= range_max)
        return turn.refuse(lab_error::invalid, "INV_IP"), false;
    return true;
}

void table_add(Appliance& appliance, Turn& turn)
{
    AddressFilter range;
    std::string text = table_text(turn);
    if (!range_asked_for(turn, range))
        return;
    IpTable* table = table_called(appliance.world, text);
    if (table == nullptr)
        table = make_table(appliance.world, turn, text);
    if (table != nullptr)
        add_range(*table, range.low, range.high, turn.free_text("info", 63));
}

void remove_range(IpTable& table, Turn& turn)
{
    AddressFilter range;
    if (!range_asked_for(turn, range))
        return;
    if (std::erase_if(table.members, [&](const auto& member) { return range.passes(member.address); }) == 0)
        turn.refuse(lab_error::unknown, "NOT_FOUND");
}

// Remove and clear are one request; what names an address removes it, anything else empties the table.
void table_remove(Appliance& appliance, Turn& turn)
{
    IpTable* table = table_asked_for(appliance.world, turn, table_text(turn));
    if (table == nullptr)
        return;
    if (turn.has("ip") && turn.number("clear") == 0)
        remove_range(*table, turn);
    else
        table->members.clear();
}

void raw_table_remove(Appliance& appliance, Turn& turn)
{
    if (IpTable* table = table_asked_for(appliance.world, turn, table_text(turn)))
        remove_range(*table, turn);
}

void raw_table_clear(Appliance& appliance, Turn& turn)
{
    if (IpTable* table = table_asked_for(appliance.world, turn, turn.name()))
        table->members.clear();
}

// The members as the fewest ranges that hold them, one a line.
void say_ranges(Turn& turn, const IpTable& table)
{
    std::vector<uint32_t> members;
    for (const auto& member : table.members)
        members.push_back(member.address.ipv4());
    std::ranges::sort(members);
    for (size_t i = 0, next = 0; i < members.size(); i = next) {
        for (next = i + 1; next < members.size() && members[next] == members[next - 1] + 1;)
            next++;
        const Ipv4Range range{members[i], members[next - 1]};
        char text[Ipv4Range::most_bytes()];
        turn.say("%.*s\n", static_cast<int>(range.put(text) - text), text);
    }
}

void table_compact(Appliance& appliance, Turn& turn)
{
    if (const IpTable* table = table_asked_for(appliance.world, turn, table_text(turn)))
        say_ranges(turn, *table);
}

void raw_table_compact(Appliance& appliance, Turn& turn)
{
    if (const IpTable* table = table_asked_for(appliance.world, turn, turn.name()))
        say_ranges(turn, *table);
}

// Is the address in the table that the name field names?
void table_match(Appliance& appliance, Turn& turn)
{
    const IpTable* table = table_asked_for(appliance.world, turn, turn.name());
    if (table == nullptr)
        return;
    Address address = ipv4_address(ipv4_or_zero(turn.value("ip").value_or(turn.word(0)).c_str()));
    bool member =
        std::ranges::find(table->members, address, &IpTable::Member::address) != table->members.end();
    turn.say("%s\n", member ? "match" : "no match");
}

// Of the table that is asked for, or of all tables.
std::vector<const IpTable::Member*> members_asked_for(World& world, Turn& turn)
{
    std::vector<const IpTable::Member*> members;
    std::string text = table_text(turn);
    const IpTable* asked = text.empty() ? nullptr : table_asked_for(world, turn, text);
    for (const IpTable& table : world.ip_tables)
        if (text.empty() || &table == asked)
            for (const IpTable::Member& member : table.members)
                members.push_back(&member);
    return members;
}

// Lines of members, with info=1 their information texts too, as many as the segment holds.
void say_members(Turn& turn, const std::vector<const IpTable::Member*>& members)
{
    constexpr size_t line_max = 128;
    size_t at = turn.first_item();
    for (; at < members.size() && turn.text_size() + line_max < turn.area().size(); at++) {
        turn.say("%s", address_text(members[at]->address).c_str());
        if (turn.number("info") != 0)
            turn.say(" %s", members[at]->info.c_str());
        turn.say("\n");
    }
    turn.end_lines(at, at >= members.size());
}

// As numbers, or with info=1 as lines with the information texts.
void table_get(Appliance& appliance, Turn& turn)
{
    auto members = members_asked_for(appliance.world, turn);
    if (turn.refused())
        return;
    if (turn.number("info") != 0)
        return say_members(turn, members);
    turn.records<TableMemberRecord>(members, [](const IpTable::Member* member, TableMemberRecord& r) {
        r.address = member->address.ipv4();
        return true;
    });
}

// The management daemon answers with text, which every way of asking prints.
void table_get_lines(Appliance& appliance, Turn& turn)
{
    auto members = members_asked_for(appliance.world, turn);
    if (!turn.refused())
        say_members(turn, members);
}

// file= holds one address, prefix or range a line, with an information text behind it.
void table_load(Appliance& appliance, Turn& turn)
{
    std::string text = table_text(turn);
    std::ifstream file = open_list_file(turn, turn.word(1));
    if (!file.is_open())
        return;
    IpTable* table = table_called(appliance.world, text);
    if (table == nullptr && (table = make_table(appliance.world, turn, text)) == nullptr)
        return;
    unsigned loaded = 0, rejected = 0;
    for (std::string line; std::getline(file, line) && loaded < members_max;) {
        size_t blank = std::min(line.find_first_of(" \t\r"), line.size());
        AddressFilter range;
        if (!range.read(line.substr(0, blank)) || range.ipv6 || range.high - range.low >= range_max) {
            rejected++;
            continue;
        }
        add_range(*table, range.low, range.high, line.substr(std::min(blank + 1, line.size()), 63));
        loaded++;
    }
    turn.say("loaded=%u rejected=%u\n", loaded, rejected);
}

constexpr Route routes[] = {
    {daemon_kind::analysis,   "table",      verb::get,    table_get        },
    {daemon_kind::management, "obsiptable", verb::add,    table_add        },
    {daemon_kind::management, "obsiptable", verb::remove, table_remove     },
    {daemon_kind::management, "obsiptable", verb::get,    table_compact    },
    {daemon_kind::management, "obsiptable", verb::load,   table_load       },
    {daemon_kind::management, "obstable",   verb::get,    table_get_lines  },
    {daemon_kind::analysis,   nullptr,      121,          table_add        },
    {daemon_kind::analysis,   nullptr,      122,          raw_table_remove },
    {daemon_kind::analysis,   nullptr,      125,          raw_table_clear  },
    {daemon_kind::analysis,   nullptr,      126,          raw_table_compact},
    {daemon_kind::analysis,   nullptr,      249,          table_load       },
    {daemon_kind::analysis,   nullptr,      348,          table_match      },
};

} // namespace

std::span<const Route> table_routes()
{
    return routes;
}

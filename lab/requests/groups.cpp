// What operators define by name: IP tables (their members are elsewhere) and groups of domain names.
#include "lab/requests/appliance.h"
#include "lab/requests/ip_tables.h"
#include "lab/requests/list_file.h"
#include "lab/requests/listing.h"
#include "lab/world/words.h"

namespace {

// ---- Definitions of the tables ----

void definition_add(Appliance& appliance, Turn& turn)
{
    auto& tables = appliance.world.ip_tables;
    std::string name = turn.free_text("name", 63);
    if (name.empty() || table_called(appliance.world, name) != nullptr)
        return turn.refuse(lab_error::invalid, name.empty() ? "INV_NAME" : "EXISTS");
    if (uint32_t id = id_to_add(turn, tables, tables_max); id != 0) {
        tables.push_back({static_cast<uint16_t>(id), name, {}});
        turn.say("id=%u\n", id);
    }
}

void definition_set(Appliance& appliance, Turn& turn)
{
    IpTable* table = turn.has("id") ? item_asked_for(turn, appliance.world.ip_tables) : nullptr;
    std::string name = turn.free_text("name", 63);
    if (table == nullptr || name.empty())
        return turn.refuse(lab_error::invalid, table == nullptr ? "NOT_FOUND" : "INV_NAME");
    table->name = name;
}

void definition_remove(Appliance& appliance, Turn& turn)
{
    remove_items(turn, appliance.world.ip_tables);
}

void definition_list(Appliance& appliance, Turn& turn)
{
    uint32_t id = turn.number("id");
    say_page(
        turn, appliance.world.ip_tables, [&](const IpTable& table) { return id == 0 || table.id == id; },
        [&](const IpTable& table) {
            turn.say("id=%u name=%s members=%zu\n", table.id, table.name.c_str(), table.members.size());
        });
}

void definition_stat(Appliance& appliance, Turn& turn)
{
    size_t members = 0;
    for (const IpTable& table : appliance.world.ip_tables)
        members += table.members.size();
    turn.say("tables=%zu members=%zu\n", appliance.world.ip_tables.size(), members);
}

// ---- Name groups ----

constexpr size_t names_max = 1 << 20;

DnsGroup* group_asked_for(Appliance& appliance, Turn& turn)
{
    return item_asked_for(turn, appliance.world.dns_groups);
}

// Adds a group, or with dns= a name to one.
void name_group_add(Appliance& appliance, Turn& turn)
{
    auto& groups = appliance.world.dns_groups;
    std::string dns = turn.value("dns").value_or("");
    if (!dns.empty()) {
        DnsGroup* group = group_asked_for(appliance, turn);
        if (group != nullptr && std::ranges::find(group->names, dns) == group->names.end())
            group->names.push_back(dns.substr(0, 255));
        return;
    }
    DnsGroup group{.id = 0, .name = turn.free_text("name", 63), .names = {}};
    if (group.name.empty())
        return turn.refuse(lab_error::invalid, "INV_NAME");
    if (uint32_t id = add_item(turn, groups, group, 1024); id != 0)
        turn.say("id=%u\n", id);
}

void name_group_set(Appliance& appliance, Turn& turn)
{
    DnsGroup* group = turn.has("id") ? group_asked_for(appliance, turn) : nullptr;
    std::string name = turn.free_text("name", 63);
    if (group == nullptr || name.empty())
        return turn.refuse(lab_error::invalid, group == nullptr ? "NOT_FOUND" : "INV_NAME");
    group->name = name;
}

// Removes groups, or with dns= a name of one.
void name_group_remove(Appliance& appliance, Turn& turn)
{
    auto dns = turn.value("dns");
    if (!dns)
        return remove_items(turn, appliance.world.dns_groups);
    DnsGroup* group = group_asked_for(appliance, turn);
    if (group != nullptr && std::erase(group->names, *dns) == 0)
        turn.refuse(lab_error::unknown, "NOT_FOUND");
}

// Sessions whose host is a name of the group, or lies below one.
uint64_t sessions_of(const World& world, const DnsGroup& group)
{
    std::vector<bool> matches(world.texts.size());
    for (TextId id = 1; id < world.texts.size(); id++)
        for (std::string_view name : group.names) {
            std::string_view host = name_of_host(world.text(id));
            if (host == name || (host.size() > name.size() && host.ends_with(name) &&
                                 host[host.size() - name.size() - 1] == '.'))
                matches[id] = true;
        }
    uint64_t sessions = 0;
    for (const Session& session : world.sessions)
        sessions += matches[session.host] ? 1 : 0;
    return sessions;
}

void name_group_list(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    say_page(
        turn, world.dns_groups, [](const DnsGroup&) { return true; },
        [&](const DnsGroup& group) {
            turn.say("id=%u name=%s names=%zu sessions=%lu\n", group.id, group.name.c_str(),
                     group.names.size(), sessions_of(world, group));
        });
}

// The names of one group (dns=1 with its id), or of all groups.
void name_group_get(Appliance& appliance, Turn& turn)
{
    bool one = turn.has("id") || turn.has("name");
    const DnsGroup* asked = one ? group_asked_for(appliance, turn) : nullptr;
    if (one && asked == nullptr)
        return;
    for (const DnsGroup& group : appliance.world.dns_groups)
        for (const std::string& name : group.names)
            if (!one)
                turn.say("%u %s\n", group.id, name.c_str());
            else if (&group == asked)
                turn.say("%s\n", name.c_str());
}

void name_group_stat(Appliance& appliance, Turn& turn)
{
    size_t names = 0;
    for (const DnsGroup& group : appliance.world.dns_groups)
        names += group.names.size();
    turn.say("groups=%zu names=%zu\n", appliance.world.dns_groups.size(), names);
}

// file= holds one name a line, for the group that id= or name= names.
void name_group_load(Appliance& appliance, Turn& turn)
{
    DnsGroup* group = group_asked_for(appliance, turn);
    if (group == nullptr)
        return;
    std::ifstream file = open_list_file(turn);
    if (!file.is_open())
        return;
    unsigned loaded = 0;
    for (std::string line; std::getline(file, line) && group->names.size() < names_max;) {
        line.resize(std::min(line.find_first_of(" \t\r"), line.size()));
        if (line.empty() || std::ranges::find(group->names, line) != group->names.end())
            continue;
        group->names.push_back(line.substr(0, 255));
        loaded++;
    }
    turn.say("loaded=%u\n", loaded);
}

constexpr Route routes[] = {
    {daemon_kind::management, "obsdnsgrp", verb::add,    name_group_add   },
    {daemon_kind::management, "obsdnsgrp", verb::set,    name_group_set   },
    {daemon_kind::management, "obsdnsgrp", verb::remove, name_group_remove},
    {daemon_kind::management, "obsdnsgrp", verb::list,   name_group_list  },
    {daemon_kind::management, "obsdnsgrp", verb::get,    name_group_get   },
    {daemon_kind::management, "obsdnsgrp", verb::stat,   name_group_stat  },
    {daemon_kind::management, "obsdnsgrp", verb::load,   name_group_load  },
    {daemon_kind::management, "obstable",  verb::add,    definition_add   },
    {daemon_kind::management, "obstable",  verb::set,    definition_set   },
    {daemon_kind::management, "obstable",  verb::remove, definition_remove},
    {daemon_kind::management, "obstable",  verb::list,   definition_list  },
    {daemon_kind::management, "obstable",  verb::stat,   definition_stat  },
};

} // namespace

std::span<const Route> group_routes()
{
    return routes;
}

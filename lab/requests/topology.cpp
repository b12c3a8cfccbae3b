// Groups and nodes of the operator's picture of the network.
#include "wire/topology.h"
#include "lab/requests/appliance.h"
#include "lab/requests/listing.h"
#include "lab/requests/session_filter.h"
#include "lab/requests/wire_fill.h"
#include "lab/views/network_traffic.h"

namespace {

// ---- Groups ----

bool parent_exists(World& world, uint32_t parent)
{
    return parent == 0 || item_with_id(world.groups, parent) != nullptr;
}

std::string title_of(const Turn& turn)
{
    return turn.free_text(turn.has("title") ? "title" : "name", 45);
}

void group_add(Appliance& appliance, Turn& turn)
{
    World& world = appliance.world;
    TopologyGroup group{.id = 0, .parent = 0, .title = title_of(turn)};
    uint32_t parent = turn.number("pid");
    if (group.title.empty())
        return turn.refuse(lab_error::invalid, "INV_TITLE");
    if (!parent_exists(world, parent))
        return turn.refuse(lab_error::invalid, "INV_PID");
    group.id = static_cast<uint8_t>(id_to_add(turn, world.groups, 255));
    group.parent = static_cast<uint8_t>(parent);
    if (group.id == 0)
        return;
    world.groups.push_back(group);
    turn.say("id=%u", group.id); // printed as a line
}

// True when `group` is `ancestor` or lies below it.
bool lies_below(World& world, uint32_t group, uint32_t ancestor)
{
    for (size_t steps = 0; group != 0 && steps <= world.groups.size(); steps++) {
        if (group == ancestor)
            return true;
        const TopologyGroup* found = item_with_id(world.groups, group);
        group = found != nullptr ? found->parent : 0;
    }
    return false;
}

void group_config(Appliance& appliance, Turn& turn)
{
    World& world = appliance.world;
    TopologyGroup* group = item_asked_for(turn, world.groups);
    if (group == nullptr)
        return;
    uint32_t parent = turn.number("pid", group->parent);
    if (!parent_exists(world, parent) || lies_below(world, parent, group->id))
        return turn.refuse(lab_error::invalid, "INV_PID");
    group->parent = static_cast<uint8_t>(parent);
    if (std::string title = title_of(turn); !title.empty())
        group->title = title;
    turn.say("id=%u pid=%u title=%s\n", group->id, group->parent, group->title.c_str());
}

void group_remove(Appliance& appliance, Turn& turn)
{
    auto& groups = appliance.world.groups;
    for (uint32_t id : numbers_of(turn, "id"))
        for (const TopologyGroup& group : groups)
            if (group.parent == id)
                return turn.refuse(lab_error::exists, "HAS_CHILDREN");
    remove_items(turn, groups);
}

void group_list(Appliance& appliance, Turn& turn)
{
    uint32_t id = turn.number("id"), parent = turn.number("pid", 256);
    turn.records<TopologyGroupRecord>(
        appliance.world.groups, [&](const TopologyGroup& group, TopologyGroupRecord& r) {
            if ((id != 0 && group.id != id) || (parent < 256 && group.parent != parent))
                return false;
            r.id = group.id;
            r.parent = group.parent;
            put_text(r.title, group.title);
            return true;
        });
}

void group_stat(Appliance& appliance, Turn& turn)
{
    const auto& groups = appliance.world.groups;
    auto top = std::ranges::count_if(groups, [](const TopologyGroup& group) { return group.parent == 0; });
    turn.say("groups=%zu top=%zd\n", groups.size(), static_cast<ssize_t>(top));
}

// ---- Nodes ----

bool take_node(World& world, Turn& turn, TopologyNode& node)
{
    uint32_t group = turn.number("gid", turn.number("pid", node.group));
    if (!parent_exists(world, group))
        return turn.refuse(lab_error::invalid, "INV_GROUP"), false;
    std::string address = turn.value("ip").value_or(node.address);
    if (!address.empty() && !AddressFilter{}.read(address))
        return turn.refuse(lab_error::invalid, "INV_IP"), false;
    if (turn.has("name"))
        node.name = turn.free_text("name", 63);
    node.group = static_cast<uint8_t>(group);
    node.address = address;
    return node.name.empty() ? turn.refuse(lab_error::invalid, "INV_NAME"), false : true;
}

void node_add(Appliance& appliance, Turn& turn)
{
    TopologyNode node;
    if (!take_node(appliance.world, turn, node))
        return;
    if (uint32_t id = add_item(turn, appliance.world.nodes, node, 4096); id != 0)
        turn.say("id=%u", id); // printed as a line
}

void node_config(Appliance& appliance, Turn& turn)
{
    World& world = appliance.world;
    change_item(turn, world.nodes, [&](TopologyNode& node) { return take_node(world, turn, node); });
}

void node_remove(Appliance& appliance, Turn& turn)
{
    World& world = appliance.world;
    remove_items(turn, world.nodes);
    std::erase_if(world.links, [&](const TopologyLink& link) {
        return item_with_id(world.nodes, link.from) == nullptr ||
               item_with_id(world.nodes, link.to) == nullptr;
    });
}

void node_list(Appliance& appliance, Turn& turn)
{
    uint32_t id = turn.number("id"), group = turn.number("gid", 256);
    const World& world = appliance.world;
    std::vector<std::string> addresses;
    for (const TopologyNode& node : world.nodes)
        addresses.push_back(node.address);
    auto traffic = traffic_of(world, addresses);
    say_page(
        turn, world.nodes,
        [&](const TopologyNode& node) {
            return (id == 0 || node.id == id) && (group > 255 || node.group == group);
        },
        [&](const TopologyNode& node) {
            const NetworkTraffic& own = traffic[static_cast<size_t>(&node - world.nodes.data())];
            turn.say("id=%u gid=%u name=%s ip=%s sessions=%lu bytes=%lu\n", node.id, node.group,
                     node.name.c_str(), node.address.c_str(), own.sessions, own.bytes);
        });
}

void node_stat(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    turn.say("nodes=%zu links=%zu groups=%zu\n", world.nodes.size(), world.links.size(), world.groups.size());
}

constexpr Route routes[] = {
    {daemon_kind::management, "obstopogrp", verb::add,    group_add   },
    {daemon_kind::management, "obstopogrp", verb::config, group_config},
    {daemon_kind::management, "obstopogrp", verb::remove, group_remove},
    {daemon_kind::management, "obstopogrp", verb::list,   group_list  },
    {daemon_kind::management, "obstopogrp", verb::stat,   group_stat  },
    {daemon_kind::management, "obstopo",    verb::add,    node_add    },
    {daemon_kind::management, "obstopo",    verb::config, node_config },
    {daemon_kind::management, "obstopo",    verb::remove, node_remove },
    {daemon_kind::management, "obstopo",    verb::list,   node_list   },
    {daemon_kind::management, "obstopo",    verb::stat,   node_stat   },
};

} // namespace

std::span<const Route> topology_routes()
{
    return routes;
}

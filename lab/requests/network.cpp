// Links between the nodes of the topology, and network branches.
#include "lab/requests/appliance.h"
#include "lab/requests/listing.h"
#include "lab/requests/session_filter.h"
#include "lab/views/network_traffic.h"

namespace {

// ---- Links ----

bool take_link(World& world, Turn& turn, TopologyLink& link)
{
    uint32_t from = turn.number("from", link.from), to = turn.number("to", link.to);
    if (item_with_id(world.nodes, from) == nullptr || item_with_id(world.nodes, to) == nullptr)
        return turn.refuse(lab_error::invalid, "INV_NODE"), false;
    link.from = from;
    link.to = to;
    if (turn.has("name"))
        link.name = turn.free_text("name", 63);
    return true;
}

void link_add(Appliance& appliance, Turn& turn)
{
    TopologyLink link;
    if (!take_link(appliance.world, turn, link))
        return;
    if (uint32_t id = add_item(turn, appliance.world.links, link, 4096); id != 0)
        turn.say("id=%u\n", id);
}

void link_change(Appliance& appliance, Turn& turn)
{
    if (!turn.has("id"))
        return turn.refuse(lab_error::invalid, "INV_ID");
    if (TopologyLink* link = item_asked_for(turn, appliance.world.links))
        take_link(appliance.world, turn, *link);
}

void link_remove(Appliance& appliance, Turn& turn)
{
    remove_items(turn, appliance.world.links);
}

void link_list(Appliance& appliance, Turn& turn)
{
    World& world = appliance.world;
    uint32_t id = turn.number("id"), node = turn.number("node");
    say_page(
        turn, world.links,
        [&](const TopologyLink& link) {
            return (id == 0 || link.id == id) && (node == 0 || link.from == node || link.to == node);
        },
        [&](const TopologyLink& link) {
            const TopologyNode* from = item_with_id(world.nodes, link.from);
            const TopologyNode* to = item_with_id(world.nodes, link.to);
            turn.say("id=%u name=%s from=%u to=%u ends=%s,%s\n", link.id, link.name.c_str(), link.from,
                     link.to, from != nullptr ? from->name.c_str() : "",
                     to != nullptr ? to->name.c_str() : "");
        });
}

void link_stat(Appliance& appliance, Turn& turn)
{
    turn.say("links=%zu\n", appliance.world.links.size());
}

// ---- Branches ----

bool take_branch(Turn& turn, NetworkBranch& branch)
{
    std::string network = turn.value(turn.has("iprng") ? "iprng" : "ip").value_or(branch.network);
    if (!AddressFilter{}.read(network))
        return turn.refuse(lab_error::invalid, "INV_IP"), false;
    if (turn.has("name"))
        branch.name = turn.free_text("name", 63);
    branch.network = network;
    return branch.name.empty() ? turn.refuse(lab_error::invalid, "INV_NAME"), false : true;
}

void branch_add(Appliance& appliance, Turn& turn)
{
    NetworkBranch branch;
    if (!take_branch(turn, branch))
        return;
    add_item(turn, appliance.world.branches, branch, 1024);
}

void branch_config(Appliance& appliance, Turn& turn)
{
    change_item(turn, appliance.world.branches,
                [&](NetworkBranch& branch) { return take_branch(turn, branch); });
}

void branch_remove(Appliance& appliance, Turn& turn)
{
    remove_items(turn, appliance.world.branches);
}

void branch_list(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    uint32_t id = turn.number("id");
    std::vector<std::string> networks;
    for (const NetworkBranch& branch : world.branches)
        networks.push_back(branch.network);
    auto traffic = traffic_of(world, networks);
    say_page(
        turn, world.branches, [&](const NetworkBranch& branch) { return id == 0 || branch.id == id; },
        [&](const NetworkBranch& branch) {
            const NetworkTraffic& own = traffic[static_cast<size_t>(&branch - world.branches.data())];
            turn.say("id=%u name=%s iprng=%s sessions=%lu bytes=%lu\n", branch.id, branch.name.c_str(),
                     branch.network.c_str(), own.sessions, own.bytes);
        });
}

void branch_stat(Appliance& appliance, Turn& turn)
{
    turn.say("branches=%zu\n", appliance.world.branches.size());
}

constexpr Route routes[] = {
    {daemon_kind::management, "obstplink",  verb::add,    link_add     },
    {daemon_kind::management, "obstplink",  verb::config, link_change  },
    {daemon_kind::management, "obstplink",  verb::set,    link_change  },
    {daemon_kind::management, "obstplink",  verb::remove, link_remove  },
    {daemon_kind::management, "obstplink",  verb::list,   link_list    },
    {daemon_kind::management, "obstplink",  verb::stat,   link_stat    },
    {daemon_kind::management, "obsnetbrch", verb::add,    branch_add   },
    {daemon_kind::management, "obsnetbrch", verb::config, branch_config},
    {daemon_kind::management, "obsnetbrch", verb::remove, branch_remove},
    {daemon_kind::management, "obsnetbrch", verb::list,   branch_list  },
    {daemon_kind::management, "obsnetbrch", verb::stat,   branch_stat  },
};

} // namespace

std::span<const Route> network_routes()
{
    return routes;
}

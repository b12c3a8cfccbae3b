// Groups of asset objects.
#include "lab/requests/appliance.h"
#include "lab/requests/listing.h"

namespace {

constexpr uint32_t groups_max = 1024;

bool take_group(World& world, Turn& turn, AssetObjectGroup& group)
{
    uint32_t parent = turn.number("pid", group.parent);
    if (turn.has("name"))
        group.name = turn.free_text("name", 63);
    if (group.name.empty())
        return turn.refuse(lab_error::invalid, "INV_NAME"), false;
    if (parent != 0 && (parent == group.id || item_with_id(world.asset_groups, parent) == nullptr))
        return turn.refuse(lab_error::invalid, "INV_PID"), false;
    group.parent = static_cast<uint16_t>(parent);
    return true;
}

void group_add(Appliance& appliance, Turn& turn)
{
    auto& groups = appliance.world.asset_groups;
    AssetObjectGroup group;
    if (!take_group(appliance.world, turn, group))
        return;
    if (uint32_t id = add_item(turn, groups, group, groups_max); id != 0)
        turn.say("id=%u\n", id);
}

void group_set(Appliance& appliance, Turn& turn)
{
    World& world = appliance.world;
    change_item(turn, world.asset_groups,
                [&](AssetObjectGroup& group) { return take_group(world, turn, group); });
}

void group_remove(Appliance& appliance, Turn& turn)
{
    remove_items(turn, appliance.world.asset_groups);
}

void group_list(Appliance& appliance, Turn& turn)
{
    std::map<uint16_t, std::pair<unsigned, uint64_t>> members; // assets and flows of a group
    for (const AssetReport& report : appliance.assets()) {
        members[report.asset->group].first++;
        members[report.asset->group].second += report.flows;
    }
    uint32_t id = turn.number("id");
    say_page(
        turn, appliance.world.asset_groups,
        [&](const AssetObjectGroup& group) { return id == 0 || group.id == id; },
        [&](const AssetObjectGroup& group) {
            turn.say("id=%u pid=%u name=%s assets=%u flows=%lu\n", group.id, group.parent, group.name.c_str(),
                     members[group.id].first, members[group.id].second);
        });
}

void group_stat(Appliance& appliance, Turn& turn)
{
    turn.say("groups=%zu assets=%zu\n", appliance.world.asset_groups.size(), appliance.world.assets.size());
}

constexpr uint8_t management = daemon_kind::management, analysis = daemon_kind::analysis;

constexpr Route routes[] = {
    {management, "assetsgroup",  verb::add,    group_add   },
    {management, "assetsgroup",  verb::list,   group_list  },
    {management, "assetsgroup",  verb::set,    group_set   },
    {management, "assetsgroup",  verb::stat,   group_stat  },
    {management, "assetsgroup",  verb::remove, group_remove},
    {analysis,   "assetsgroup2", verb::add,    group_add   },
    {analysis,   "assetsgroup2", verb::list,   group_list  },
    {analysis,   "assetsgroup2", verb::set,    group_set   },
    {analysis,   "assetsgroup2", verb::stat,   group_stat  },
    {analysis,   "assetsgroup2", verb::remove, group_remove},
};

} // namespace

std::span<const Route> asset_group_routes()
{
    return routes;
}

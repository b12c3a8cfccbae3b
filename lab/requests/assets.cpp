// Asset objects with their statistics, and what operators declare of them.
#include "lab/requests/appliance.h"
#include "lab/requests/list_file.h"
#include "lab/requests/listing.h"
#include "lab/requests/session_filter.h"
#include "lab/requests/wire_fill.h"
#include "wire/asset.h"

namespace {

constexpr uint32_t assets_max = 4096;

// ---- Statistics ----

void put_24(uint8_t (&field)[3], uint32_t value)
{
    for (size_t i = 0; i < 3; i++)
        field[i] = static_cast<uint8_t>(value >> 8 * i);
}

void put_value(const AssetObject& asset, AssetRecord& r)
{
    std::string_view bytes{reinterpret_cast<const char*>(asset.address.bytes.data()), 16};
    if (asset.kind == AssetKind::text)
        put_text(r.value, asset.text);
    else
        r.value.assign(bytes);
}

bool fill_asset(const AssetReport& report, AssetRecord& r)
{
    const AssetObject& asset = *report.asset;
    r.kind = static_cast<uint16_t>(asset.kind);
    r.pid = asset.group;
    r.id = asset.id;
    r.logical_id = asset.logical_id;
    r.flows = report.flows;
    r.bytes_out = report.bytes_out;
    r.bytes_in = report.bytes_in;
    r.succeeded = report.succeeded;
    r.failed = report.failed;
    put_24(r.threats_24, report.threats);
    put_24(r.last_threat_24, report.last_threat); // the field keeps the low bits of the time
    r.port = asset.port;
    r.pps = capped<uint32_t>(report.packet_rate);
    r.bps_out = capped<uint32_t>(report.rate_out);
    r.bps_in = capped<uint32_t>(report.rate_in);
    r.delay_sum = report.delay_sum;
    r.delay_max_1 = report.longest_server_delay;
    r.delay_max_2 = report.longest_application_delay;
    for (size_t i = 0; i < report.delay_samples.size(); i++)
        r.delay_counts[i] = report.delay_samples[i];
    put_text(r.name, asset.name);
    put_value(asset, r);
    return true;
}

void asset_list(Appliance& appliance, Turn& turn)
{
    std::vector<uint32_t> ids = numbers_of(turn, "id");
    uint32_t group = turn.number("pid");
    AddressFilter address;
    if (auto text = turn.value("ip"); text && !address.read(*text))
        return turn.refuse(lab_error::invalid, "INV_IP");
    turn.records<AssetRecord>(appliance.assets(), [&](const AssetReport& report, AssetRecord& r) {
        const AssetObject& asset = *report.asset;
        if ((!ids.empty() && std::ranges::find(ids, asset.id) == ids.end()) ||
            (group != 0 && asset.group != group))
            return false;
        if (address.given && (asset.kind == AssetKind::text || !address.passes(asset.address)))
            return false;
        return fill_asset(report, r);
    });
}

// ---- Declaration ----

std::string value_text(const AssetObject& asset)
{
    return asset.kind == AssetKind::text ? asset.text : address_text(asset.address);
}

bool take_value(Turn& turn, AssetObject& asset)
{
    std::string text = turn.value(turn.has("value") ? "value" : "ip").value_or("");
    if (text.empty())
        return true;
    asset.text.clear();
    asset.address = {};
    if (parse_address(text, asset.address))
        asset.kind = asset.address.ipv6 ? AssetKind::ipv6 : AssetKind::ipv4;
    else {
        asset.kind = AssetKind::text;
        asset.text = turn.free_text(turn.has("value") ? "value" : "ip", 63);
    }
    return true;
}

bool take_asset(World& world, Turn& turn, AssetObject& asset)
{
    asset.group = static_cast<uint16_t>(turn.number("pid", asset.group));
    asset.port = static_cast<uint16_t>(turn.number("port", asset.port));
    asset.logical_id = turn.number("logicid", asset.logical_id);
    if (turn.has("name"))
        asset.name = turn.free_text("name", 63);
    take_value(turn, asset);
    if (asset.name.empty())
        return turn.refuse(lab_error::invalid, "INV_NAME"), false;
    if (asset.kind == AssetKind::ipv4 && asset.address == Address{})
        return turn.refuse(lab_error::invalid, "INV_VALUE"), false;
    if (asset.group != 0 && item_with_id(world.asset_groups, asset.group) == nullptr)
        return turn.refuse(lab_error::invalid, "INV_PID"), false;
    for (const AssetObject& other : world.assets)
        if (other.id != asset.id && value_text(other) == value_text(asset) && other.port == asset.port)
            return turn.refuse(lab_error::exists, "EXISTS"), false;
    return true;
}

void add_asset(World& world, Turn& turn)
{
    AssetObject asset;
    if (!take_asset(world, turn, asset))
        return;
    asset.id = id_to_add(turn, world.assets, assets_max);
    if (asset.id == 0)
        return;
    if (asset.logical_id == 0)
        for (const AssetObject& other : world.assets)
            asset.logical_id = std::max(asset.logical_id, other.logical_id);
    if (!turn.has("logicid"))
        asset.logical_id++;
    world.assets.push_back(asset);
    turn.say("id=%u\n", asset.id);
}

void asset_add(Appliance& appliance, Turn& turn)
{
    add_asset(appliance.world, turn);
    appliance.changed();
}

void asset_set(Appliance& appliance, Turn& turn)
{
    if (!turn.has("id"))
        return turn.refuse(lab_error::invalid, "INV_ID");
    AssetObject* asset = item_asked_for(turn, appliance.world.assets);
    if (asset == nullptr)
        return;
    AssetObject changed = *asset;
    if (take_asset(appliance.world, turn, changed))
        *asset = changed;
    appliance.changed();
}

void asset_remove(Appliance& appliance, Turn& turn)
{
    remove_items(turn, appliance.world.assets);
    appliance.changed();
}

void say_asset(Turn& turn, const AssetObject& asset)
{
    turn.say("id=%u logicid=%u pid=%u name=%s value=%s port=%u\n", asset.id, asset.logical_id, asset.group,
             asset.name.c_str(), value_text(asset).c_str(), asset.port);
}

// One by id= or name=; all of them without either.
void asset_get(Appliance& appliance, Turn& turn)
{
    auto& assets = appliance.world.assets;
    if (turn.has("id") || turn.has("name")) {
        if (const AssetObject* asset = item_asked_for(turn, assets))
            say_asset(turn, *asset);
        return;
    }
    say_page(
        turn, assets, [](const AssetObject&) { return true; },
        [&](const AssetObject& asset) { say_asset(turn, asset); });
}

void asset_stat(Appliance& appliance, Turn& turn)
{
    uint64_t flows = 0, bytes = 0;
    for (const AssetReport& report : appliance.assets()) {
        flows += report.flows;
        bytes += report.bytes_out + report.bytes_in;
    }
    turn.say("assets=%zu groups=%zu flows=%lu bytes=%lu\n", appliance.world.assets.size(),
             appliance.world.asset_groups.size(), flows, bytes);
}

// file= holds "address name" a line, for the group pid=.
void asset_load(Appliance& appliance, Turn& turn)
{
    World& world = appliance.world;
    std::ifstream file = open_list_file(turn);
    if (!file.is_open())
        return;
    unsigned loaded = 0, rejected = 0;
    for (std::string line; std::getline(file, line);) {
        size_t blank = std::min(line.find(' '), line.size());
        AssetObject asset;
        asset.group = static_cast<uint16_t>(turn.number("pid"));
        asset.name = line.substr(std::min(blank + 1, line.size()), 63);
        bool known = std::ranges::any_of(world.assets, [&](const AssetObject& other) {
            return value_text(other) == line.substr(0, blank);
        });
        if (known || asset.name.empty() || !parse_address(line.substr(0, blank), asset.address) ||
            world.assets.size() >= assets_max) {
            rejected++;
            continue;
        }
        asset.kind = asset.address.ipv6 ? AssetKind::ipv6 : AssetKind::ipv4;
        for (asset.id = 1; item_with_id(world.assets, asset.id) != nullptr;)
            asset.id++;
        asset.logical_id = asset.id;
        world.assets.push_back(asset);
        loaded++;
    }
    appliance.changed();
    turn.say("loaded=%u rejected=%u\n", loaded, rejected);
}

constexpr uint8_t management = daemon_kind::management, analysis = daemon_kind::analysis;

// The analysis daemon serves the same store under names of its own.
constexpr Route routes[] = {
    {management, "assetsobj",  verb::add,    asset_add   },
    {management, "assetsobj",  verb::list,   asset_list  },
    {management, "assetsobj",  verb::set,    asset_set   },
    {management, "assetsobj",  verb::get,    asset_get   },
    {management, "assetsobj",  verb::stat,   asset_stat  },
    {management, "assetsobj",  verb::remove, asset_remove},
    {management, "assetsobj",  verb::load,   asset_load  },
    {analysis,   "assetsobj2", verb::add,    asset_add   },
    {analysis,   "assetsobj2", verb::set,    asset_set   },
    {analysis,   "assetsobj2", verb::get,    asset_get   },
    {analysis,   "assetsobj2", verb::stat,   asset_stat  },
    {analysis,   "assetsobj2", verb::remove, asset_remove},
};

} // namespace

std::span<const Route> asset_routes()
{
    return routes;
}

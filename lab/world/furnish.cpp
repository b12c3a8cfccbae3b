#include "lab/world/furnish.h"

#include "lab/dictionary/gbk.h"
#include "lab/world/geography.h"
#include "lab/world/words.h"

#include <algorithm>

namespace {

std::vector<Busy> busiest(const World& world, uint32_t Session::*end)
{
    std::vector<Busy> all(world.endpoints.size());
    for (uint32_t i = 0; i < all.size(); i++)
        all[i].endpoint = i;
    for (const Session& session : world.sessions)
        all[session.*end].sessions++;
    std::erase_if(all, [](const Busy& busy) { return busy.sessions == 0; });
    std::stable_sort(all.begin(), all.end(),
                     [](const Busy& a, const Busy& b) { return a.sessions > b.sessions; });
    return all;
}

// The port at which most of each server's sessions arrived.
std::map<uint32_t, uint16_t> main_ports(const World& world, const std::vector<Busy>& servers)
{
    std::vector<bool> wanted(world.endpoints.size());
    for (const Busy& busy : servers)
        wanted[busy.endpoint] = true;
    std::map<uint32_t, std::map<uint16_t, uint32_t>> counts;
    for (const Session& session : world.sessions)
        if (wanted[session.server])
            counts[session.server][session.server_port]++;
    std::map<uint32_t, uint16_t> ports;
    for (auto& [endpoint, of_ports] : counts)
        ports[endpoint] = std::max_element(of_ports.begin(), of_ports.end(), [](auto& a, auto& b) {
                              return a.second < b.second;
                          })->first;
    return ports;
}

} // namespace

std::vector<Busy> busiest_servers(const World& world)
{
    return busiest(world, &Session::server);
}

std::vector<Busy> busiest_clients(const World& world)
{
    return busiest(world, &Session::client);
}

void place_endpoints(World& world)
{
    world.locations = known_locations();
    for (Endpoint& endpoint : world.endpoints)
        if (endpoint.location == 0)
            endpoint.location = location_of(endpoint.address);
}

void furnish_assets(World& world)
{
    if (!world.assets.empty())
        return;
    constexpr size_t assets_most = 32;
    world.asset_groups = {
        {1, 0, "业务系统"_gbk},
        {2, 1, "对外服务"_gbk},
        {3, 1, "内部服务"_gbk},
        {4, 0, "公共服务"_gbk}
    };
    auto add = [&](AssetObject asset) {
        asset.id = asset.logical_id = static_cast<uint32_t>(world.assets.size() + 1);
        asset.group = static_cast<uint16_t>(1 + world.assets.size() % world.asset_groups.size());
        world.assets.push_back(std::move(asset));
    };
    std::vector<Busy> servers = busiest_servers(world);
    // What operators own lies inside; a capture of the outside alone shows its servers instead.
    std::stable_partition(servers.begin(), servers.end(),
                          [&](const Busy& busy) { return is_inside(world.address(busy.endpoint)); });
    servers.resize(std::min(servers.size(), assets_most));
    std::map<uint32_t, uint16_t> ports = main_ports(world, servers);
    for (const Busy& busy : servers) {
        const Address& address = world.address(busy.endpoint);
        bool one_port = world.assets.size() % 2 == 1;
        AssetObject asset;
        asset.kind = address.ipv6 ? AssetKind::ipv6 : AssetKind::ipv4;
        asset.name = world.name_of(busy.endpoint);
        asset.address = address;
        asset.port = one_port ? ports[busy.endpoint] : uint16_t{0};
        add(std::move(asset));
    }
    size_t named = 0; // services known by their name
    for (const Session& session : world.sessions) {
        std::string name{name_of_host(world.text(session.host))};
        bool known = std::any_of(world.assets.begin(), world.assets.end(), [&](const AssetObject& asset) {
            return asset.name == name || asset.text == name;
        });
        if (name.empty() || known)
            continue;
        AssetObject asset;
        asset.kind = AssetKind::text;
        asset.name = std::string{"服务"_gbk} + std::to_string(++named);
        asset.text = name;
        add(std::move(asset));
        if (named == 4)
            break;
    }
}

void furnish_topology(World& world)
{
    if (!world.groups.empty())
        return;
    world.groups = {
        {1, 0, "核心网络"_gbk},
        {2, 1, "服务器区"_gbk},
        {3, 1, "办公网"_gbk   },
        {4, 3, "无线网"_gbk   },
        {5, 0, "分支机构"_gbk}
    };
    world.nodes = {
        {1, 1, "core-switch", ""}
    };
    std::vector<Busy> servers = busiest_servers(world), clients = busiest_clients(world);
    auto add_nodes = [&](const std::vector<Busy>& hosts, uint8_t group) {
        for (size_t i = 0; i < std::min<size_t>(hosts.size(), 6); i++) {
            auto id = static_cast<uint32_t>(world.nodes.size() + 1);
            uint32_t endpoint = hosts[i].endpoint;
            world.nodes.push_back(
                {id, group, world.name_of(endpoint), address_text(world.address(endpoint))});
            world.links.push_back({id - 1, 1, id, "link-" + std::to_string(id - 1)});
        }
    };
    add_nodes(servers, 2);
    add_nodes(clients, 3);
    std::map<uint32_t, bool> networks;
    for (const Busy& busy : clients)
        if (const Address& address = world.address(busy.endpoint); !address.ipv6 && is_inside(address))
            networks[address.ipv4() & 0xffff0000] = true;
    for (auto [network, seen] : networks) {
        auto id = static_cast<uint32_t>(world.branches.size() + 1);
        world.branches.push_back(
            {id, "branch-" + std::to_string(id), address_text(ipv4_address(network)) + "/16"});
    }
}

void furnish_lists(World& world)
{
    if (!world.ip_tables.empty())
        return;
    world.ip_tables = {
        {1, "blacklist", {}},
        {2, "servers",   {}},
        {3, "office",    {}}
    };
    for (const Indicator& indicator : world.indicators)
        if (indicator.name.empty())
            world.ip_tables[0].members.push_back({indicator.address, indicator.type});
    for (const AssetObject& asset : world.assets)
        if (asset.kind == AssetKind::ipv4)
            world.ip_tables[1].members.push_back({asset.address, asset.name});
    for (const Busy& busy : busiest_clients(world)) {
        const Address& address = world.address(busy.endpoint);
        if (address.ipv6 || world.white_addresses.size() == 8)
            continue;
        world.ip_tables[2].members.push_back({address, world.name_of(busy.endpoint)});
        world.white_addresses.push_back(
            {address, world.now, std::string{"可信主机"_gbk} + std::to_string(busy.endpoint)});
    }
    for (const Busy& busy : busiest_servers(world)) {
        if (world.tunnel_white_list.size() >= 8)
            break;
        if (const Address& address = world.address(busy.endpoint); !address.ipv6)
            world.tunnel_white_list.push_back({address, ""});
        if (TextId name = world.endpoints[busy.endpoint].name; name != 0)
            world.tunnel_white_list.push_back({{}, std::string{world.text(name).substr(0, 54)}});
    }
    world.dns_tunnel_white_list = world.tunnel_white_list;
    world.dns_groups = {
        {1, "intranet", {}},
        {2, "update",   {}}
    };
    for (const TunnelExemption& entry : world.tunnel_white_list)
        if (!entry.name.empty())
            world.dns_groups[world.dns_groups[0].names.size() < 3 ? 0 : 1].names.push_back(entry.name);
}

void furnish(World& world)
{
    place_endpoints(world);
    furnish_indicators(world);
    furnish_signatures(world);
    furnish_event_rules(world);
    furnish_assets(world);
    furnish_topology(world);
    furnish_lists(world);
}

// The white list, and the tunnel white lists of both daemons.
#include "lab/requests/appliance.h"
#include "lab/requests/listing.h"
#include "lab/requests/session_filter.h"
#include "lab/requests/settings.h"
#include "lab/requests/wire_fill.h"
#include "wire/white_list.h"

namespace {

void white_flows(Appliance& appliance, Turn& turn)
{
    SessionFilter filter;
    if (!filter.read(turn))
        return;
    const World& world = appliance.world;
    turn.records<WhiteFlowRecord>(appliance.white_flows(), [&](const Session* session, WhiteFlowRecord& r) {
        if (!filter.passes(world, *session))
            return false;
        r.source = world.address(session->client).ipv4();
        r.destination = world.address(session->server).ipv4();
        r.source_port = session->client_port;
        r.destination_port = session->server_port;
        r.birth = session->birth;
        r.protocol = session->protocol;
        std::ranges::copy(world.endpoints[session->client].mac, r.source_mac);
        return true;
    });
}

void white_addresses(Appliance& appliance, Turn& turn)
{
    turn.records<WhiteAddressRecord>(appliance.white_addresses(),
                                     [](const WhiteReport& report, WhiteAddressRecord& r) {
                                         r.address = report.entry->address.ipv4();
                                         r.birth = report.entry->birth;
                                         r.last_time = report.last;
                                         r.flows = report.flows;
                                         put_text(r.description, report.entry->description);
                                         return true;
                                     });
}

void white_stat(Appliance& appliance, Turn& turn)
{
    turn.say("addresses=%zu flows=%zu", appliance.white_addresses().size(), appliance.white_flows().size());
    say_settings(appliance.world, turn, "whiteip");
    turn.say("\n");
}

// addr= puts an address on the list (or renames it); the rest are settings.
void white_config(Appliance& appliance, Turn& turn)
{
    World& world = appliance.world;
    AddressFilter address;
    if (auto text = turn.value("addr");
        text && (!address.read(*text) || address.ipv6 || address.low != address.high))
        return turn.refuse(lab_error::invalid, "INV_IP");
    if (!address.given) {
        change_settings(appliance, turn, "whiteip");
        return;
    }
    auto there = std::ranges::find(world.white_addresses, ipv4_address(address.low), &WhiteAddress::address);
    if (there != world.white_addresses.end())
        there->description = turn.free_text("name", 43);
    else
        world.white_addresses.push_back({ipv4_address(address.low), world.now, turn.free_text("name", 43)});
    appliance.changed();
}

// ---- Tunnel white lists: one a daemon ----

using Exemptions = std::vector<TunnelExemption>;

template <Exemptions Knowledge::*list> void list_exemptions(Appliance& appliance, Turn& turn)
{
    std::string type = turn.value("type").value_or("");
    turn.records<TunnelWhiteRecord>(
        appliance.world.*list, [&](const TunnelExemption& entry, TunnelWhiteRecord& r) {
            bool is_name = !entry.name.empty();
            if (type == (is_name ? "ip" : "dns"))
                return false;
            uint32_t address = entry.address.ipv4();
            r.flags = is_name ? 1 : 0;
            r.name.assign(is_name ? std::string_view(entry.name)
                                  : std::string_view(reinterpret_cast<const char*>(&address), sizeof address),
                          r.name.width - 1);
            return true;
        });
}

bool read_exemption(Turn& turn, TunnelExemption& entry)
{
    AddressFilter address;
    std::string name = turn.value(turn.has("dns") ? "dns" : "name").value_or("");
    if (auto ip = turn.value("ip")) {
        if (!address.read(*ip) || address.ipv6 || address.low != address.high)
            return turn.refuse(lab_error::invalid, "INV_IP"), false;
        entry.address = ipv4_address(address.low);
        return true;
    }
    entry.name = name.substr(0, 54);
    return name.empty() ? turn.refuse(lab_error::invalid, "NO_ARGUMENT"), false : true;
}

auto same_exemption(const TunnelExemption& entry)
{
    return [&entry](const TunnelExemption& other) {
        return other.name == entry.name && (!entry.name.empty() || other.address == entry.address);
    };
}

template <Exemptions Knowledge::*list> void add_exemption(Appliance& appliance, Turn& turn)
{
    Exemptions& exemptions = appliance.world.*list;
    TunnelExemption entry;
    if (!read_exemption(turn, entry))
        return;
    if (std::ranges::any_of(exemptions, same_exemption(entry)))
        return turn.refuse(lab_error::exists, "EXISTS");
    exemptions.push_back(entry);
}

template <Exemptions Knowledge::*list> void remove_exemption(Appliance& appliance, Turn& turn)
{
    TunnelExemption entry;
    if (read_exemption(turn, entry) && std::erase_if(appliance.world.*list, same_exemption(entry)) == 0)
        turn.refuse(lab_error::unknown, "NOT_FOUND");
}

constexpr auto tunnel = &Knowledge::tunnel_white_list, dns_tunnel = &Knowledge::dns_tunnel_white_list;
constexpr uint8_t both = daemon_kind::analysis | daemon_kind::management;

constexpr Route routes[] = {
    {daemon_kind::management, "whiteip",       verb::list,   white_flows                 },
    {daemon_kind::management, "whiteip",       verb::get,    white_addresses             },
    {daemon_kind::management, "whiteip",       verb::stat,   white_stat                  },
    {daemon_kind::management, "whiteip",       verb::config, white_config                },
    {both,                    "tunwltable",    verb::list,   list_exemptions<tunnel>     },
    {both,                    "tunwltable",    verb::add,    add_exemption<tunnel>       },
    {both,                    "tunwltable",    verb::remove, remove_exemption<tunnel>    },
    {both,                    "dnstunwltable", verb::list,   list_exemptions<dns_tunnel> },
    {both,                    "dnstunwltable", verb::add,    add_exemption<dns_tunnel>   },
    {both,                    "dnstunwltable", verb::remove, remove_exemption<dns_tunnel>},
};

} // namespace

std::span<const Route> white_list_routes()
{
    return routes;
}

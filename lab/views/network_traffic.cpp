#include "lab/views/network_traffic.h"

#include "lab/views/address_filter.h"

#include <algorithm>

std::vector<NetworkTraffic> traffic_of(const World& world, const std::vector<std::string>& networks)
{
    std::vector<NetworkTraffic> traffic(networks.size());
    std::vector<std::vector<uint32_t>> networks_of(world.endpoints.size());
    for (uint32_t i = 0; i < networks.size(); i++) {
        AddressFilter network;
        if (!network.read(networks[i]))
            continue;
        for (size_t e = 0; e < world.endpoints.size(); e++)
            if (network.passes(world.endpoints[e].address))
                networks_of[e].push_back(i);
    }
    auto count = [&](uint32_t network, const Session& session) {
        traffic[network].sessions++;
        traffic[network].bytes += session.up_bytes + session.down_bytes;
    };
    for (const Session& session : world.sessions) {
        const auto& clients = networks_of[session.client];
        for (uint32_t network : clients)
            count(network, session);
        for (uint32_t network : networks_of[session.server])
            if (std::ranges::find(clients, network) == clients.end())
                count(network, session);
    }
    return traffic;
}

#pragma once
// The hosts of a generated world: inside clients and servers, and the outside servers they talk to.
#include "lab/world/random.h"
#include "lab/world/world.h"

#include <string>
#include <vector>

class Population {
public:
    // Adds as many endpoints as a world of so many sessions has.
    Population(World& world, Random& random, uint32_t sessions);

    // Draw an endpoint. Some servers are more popular than others, but every one can be met.
    uint32_t client(bool ipv6) { return pick(ipv6 ? clients_ipv6_ : clients_); }
    uint32_t server() { return pick_skewed(servers_); }
    uint32_t remote(bool ipv6) { return pick_skewed(ipv6 ? remotes_ipv6_ : remotes_); }

private:
    uint32_t pick(const std::vector<uint32_t>& hosts);
    uint32_t pick_skewed(const std::vector<uint32_t>& hosts);
    uint32_t add(const Address& address, const std::string& name);
    uint32_t add_client(uint32_t i, bool ipv6);
    uint32_t add_server(uint32_t i);
    uint32_t add_remote(uint32_t i, bool ipv6);
    std::string remote_name(uint32_t i);

    World& world_;
    Random& random_;
    std::vector<uint32_t> clients_, clients_ipv6_, servers_, remotes_, remotes_ipv6_;
};

#pragma once
// The traffic of networks: sessions with an end in them.
#include "lab/world/world.h"

struct NetworkTraffic {
    uint64_t sessions = 0, bytes = 0;
};

// One entry for each network (an address, a prefix, a range; nothing lies in an empty or unreadable one). A
// session between two addresses of one network counts once.
std::vector<NetworkTraffic> traffic_of(const World& world, const std::vector<std::string>& networks);

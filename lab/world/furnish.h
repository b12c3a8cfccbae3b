#pragma once
// What operators and intelligence would have added to the traffic.
#include "lab/world/world.h"

// Fills a world from the traffic already in it: locations where there are none, indicators, signatures and
// their hits, event rules, assets, topology, tables, lists. The same traffic gives the same furniture.
void furnish(World& world);

// The event rules that have a log: see views/event_log.h.
namespace event_rule {
constexpr uint16_t busy_path = 1, malicious = 2, slow_answer = 3, asset = 4;
}

// The pieces of furnish(), in the order in which it uses them. Each fills only what is still empty.
void place_endpoints(World& world);
void furnish_indicators(World& world);
void furnish_signatures(World& world); // and their hits
void furnish_event_rules(World& world);
void furnish_assets(World& world);
void furnish_topology(World& world);
void furnish_lists(World& world);

// Finds the hits of the signatures among the sessions that there are.
void hit_signatures(World& world);

// Endpoints by how many sessions they served or asked for, busiest first; ties in order of appearance. Those
// with none are left out.
struct Busy {
    uint32_t endpoint = 0, sessions = 0;
};
std::vector<Busy> busiest_servers(const World& world);
std::vector<Busy> busiest_clients(const World& world);

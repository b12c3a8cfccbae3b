#pragma once
// The pieces of furnish(), in the order in which it uses them. Each fills only what is still empty.
#include "lab/world.h"

void place_endpoints(World& world);
void furnish_indicators(World& world);
void furnish_signatures(World& world);
void furnish_events(World& world);
void furnish_assets(World& world);
void furnish_topology(World& world);
void furnish_lists(World& world);

// Endpoints by how many sessions they served or asked for, busiest first; ties in order of appearance. Those
// with none are left out.
struct Busy {
    uint32_t endpoint = 0, sessions = 0;
};
std::vector<Busy> busiest_servers(const World& world);
std::vector<Busy> busiest_clients(const World& world);

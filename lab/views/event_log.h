#pragma once
// What the event rules would have logged, from what the views show of the traffic.
#include "lab/world/world.h"

// Fills the event log of a furnished world, oldest occurrence first, and the counters of its rules; does
// nothing when there is a log already.
void log_events(World& world);

// What the rules have met in the earlier states of live traffic.
struct EventWatch {
    std::vector<uint64_t> malicious, slow;   // numbers of sessions, in order
    std::array<uint32_t, 9> busy_until = {}; // by path: when it was busy last
};

// Logs what the rules meet for the first time. Keeps the newest occurrences.
void log_events(World& world, EventWatch& watch);

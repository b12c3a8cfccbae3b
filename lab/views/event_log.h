#pragma once
// What the event rules would have logged, from what the views show of the traffic.
#include "lab/world/world.h"

// Fills the event log of a furnished world, oldest occurrence first, and the counters of its rules; does
// nothing when there is a log already.
void log_events(World& world);

#pragma once
// The protocol logs of a generated world.
#include "lab/world/world.h"

// Logs what the newest sessions of each kind would have shown on the wire.
void generate_events(World& world);

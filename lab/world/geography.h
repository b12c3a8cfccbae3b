#pragma once
// Where addresses lie, as far as the lab knows: an invented but fixed map. The documentation networks have
// places too, so that a test network shows some.
#include "lab/world/world.h"

#include <vector>

// Entry 0 is the unknown place, with empty texts.
const std::vector<Location>& known_locations();

// Index into known_locations(); 0 for inside addresses.
uint16_t location_of(const Address& address);

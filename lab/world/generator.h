#pragma once
// A deterministic world of any size.
#include "lab/world/world.h"

struct GeneratorOptions {
    uint32_t sessions = 1000;
    uint64_t seed = 1;
    uint32_t now = 0; // the world ends here; the traffic fills the three days before
};

// Fills an empty world. The same options give the same world on every platform.
void generate(const GeneratorOptions& options, World& world);

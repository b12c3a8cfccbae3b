#pragma once
// A group of the topology tree.
#include "base/wire_types.h"

struct [[gnu::packed]] TopologyGroupRecord {
    uint8_t       id;     // 0
    uint8_t       parent; // 1  0 for a top-level group
    FixedText<46> title;  // 2
};                        // 48
static_assert(sizeof(TopologyGroupRecord) == 48 && alignof(TopologyGroupRecord) == 1);
static_assert(offsetof(TopologyGroupRecord, title) == 2);

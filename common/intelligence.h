#pragma once
// Intelligence sources, from "malcitlgc" lines.
#include "common/record_handler.h"

constexpr size_t itlgc_slots = 32;

struct IntelligenceSource {
    uint8_t vendor;
    char name[31]; // empty: the slot is free
    char cname[32];
    uint8_t reserved[4];
};
static_assert(sizeof(IntelligenceSource) == 68);

// itlgc_slots slots, by source id; null before itlgc_init and when it failed.
extern IntelligenceSource* itlgc_pool;

void itlgc_init(); // a new, empty pool; a failure is said and leaves none

// A "malcitlgc" line: id=, name=, cname=, vendor=. What is incomplete is ignored.
void itlgc_line(RequestRecord& carrier);

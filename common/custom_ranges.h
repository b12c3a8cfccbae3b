#pragma once
// IPv4 ranges with an information text, from "cusiprng" lines. The first definition of a range wins.
#include "common/record_handler.h"

struct CustomRange {
    uint32_t first, last; // host order
    uint32_t information; // number of the information record, from 1
};

int cusiprng_init(); // a new, empty table: 0, or -1 with a message
void cusiprng_release();

// A "cusiprng" line: iprng=, info=.
void cusiprng_line(RequestRecord& carrier);

// A range that covers the address (host order), or null. Of overlapping ranges a covering one may be missed.
const CustomRange* cusiprng_find(uint32_t address);

// The text of an information record; null for a number outside the table.
const char* cusiprng_information(uint32_t number);

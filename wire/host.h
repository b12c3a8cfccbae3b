#pragma once
// A host learnt from traffic. Little-endian where no order is given.
#include "base/wire_types.h"

struct [[gnu::packed]] HostRecord {
    uint8_t       reserved_0[8]; //  0
    uint32_t      time;          //  8  last seen, seconds since the epoch
    uint8_t       valid;         // 12  non-zero when it is to be shown
    FixedText<43> name;          // 13
    be32          address;       // 56  IPv4
    be16          ports[6];      // 60  up to the first 0
    uint32_t      dns_count;     // 72
    uint32_t      http_count;    // 76
    uint32_t      sub_counts[4]; // 80
    FixedText<24> note;          // 96
};                               // 120
static_assert(sizeof(HostRecord) == 120 && alignof(HostRecord) == 1);
static_assert(offsetof(HostRecord, name) == 13 && offsetof(HostRecord, address) == 56);
static_assert(offsetof(HostRecord, ports) == 60 && offsetof(HostRecord, sub_counts) == 80);
static_assert(offsetof(HostRecord, note) == 96);

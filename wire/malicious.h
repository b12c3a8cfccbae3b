#pragma once
// A connection that touched a known-malicious indicator. Little-endian where no order is given.
#include "base/wire_types.h"

struct [[gnu::packed]] MaliciousRecord {
    uint32_t         time;             //   0  seconds since the epoch; 0: an empty record
    be32             source;           //   4
    be32             destination;      //   8
    be16             source_port;      //  12
    be16             destination_port; //  14
    uint8_t          reserved_16;      //  16
    uint8_t          level;            //  17  1 critical, 2 high, 3 mid, 4 low
    uint8_t          reserved_18[2];   //  18
    be32             indicator;        //  20  0 when the indicator is a name
    be16             indicator_port;   //  24  0 for none
    FixedText<60>    indicator_name;   //  26
    FixedText<74>    type;             //  86  threat type
    FixedGbkText<48> area;             // 160  area and carrier of the peer, GBK
};                                     // 208
static_assert(sizeof(MaliciousRecord) == 208 && alignof(MaliciousRecord) == 1);
static_assert(offsetof(MaliciousRecord, level) == 17 && offsetof(MaliciousRecord, indicator) == 20);
static_assert(offsetof(MaliciousRecord, indicator_name) == 26 && offsetof(MaliciousRecord, type) == 86);
static_assert(offsetof(MaliciousRecord, area) == 160);

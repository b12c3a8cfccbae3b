#pragma once
// Intrusion detection: hits per signature, the sessions that triggered one, the alerts. Little-endian where
// no order is given.
#include "base/wire_types.h"

struct [[gnu::packed]] SignatureRecord {
    uint32_t category; //  0
    uint32_t birth;    //  4  first hit, seconds since the epoch
    uint32_t last;     //  8  last hit
    uint32_t sid;      // 12  signature id
    uint64_t total;    // 16  hits
};                     // 24
static_assert(sizeof(SignatureRecord) == 24 && alignof(SignatureRecord) == 1);
static_assert(offsetof(SignatureRecord, sid) == 12 && offsetof(SignatureRecord, total) == 16);

struct [[gnu::packed]] IdsSessionRecord {
    be32     source;           //  0
    be32     destination;      //  4
    be16     source_port;      //  8
    be16     destination_port; // 10
    uint32_t birth;            // 12  seconds since the epoch
    uint16_t pkts0;            // 16  packets from the source
    uint16_t pkts1;            // 18  packets from the destination
    uint8_t  category;         // 20
    uint8_t  protocol;         // 21  IP protocol number
    uint8_t  reserved_22[2];   // 22
};                             // 24
static_assert(sizeof(IdsSessionRecord) == 24 && alignof(IdsSessionRecord) == 1);
static_assert(offsetof(IdsSessionRecord, birth) == 12 && offsetof(IdsSessionRecord, category) == 20);

struct [[gnu::packed]] AlertRecord {
    uint32_t        time; // 0  seconds since the epoch
    FixedText<3840> text; // 4  one JSON object, formatted by the daemon
};                        // 3844
static_assert(sizeof(AlertRecord) == 3844 && alignof(AlertRecord) == 1 && offsetof(AlertRecord, text) == 4);

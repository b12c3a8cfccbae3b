#pragma once
// A connection that was reset. Little-endian where no order is given. An IPv6 block follows the record when
// has_ipv6() says so, which makes it 96 bytes.
#include "wire/address.h"

struct [[gnu::packed]] ResetRecord {
    uint32_t      time;             //  0  seconds since the epoch
    be16          port;             //  4  the port that lines show
    be16          destination_port; //  6
    be32          source;           //  8  IPv4
    be32          destination;      // 12  IPv4
    uint64_t      timings;          // 16  three numbers in hundredths, see below
    uint16_t      value_24;         // 24  printed as it is
    uint16_t      value_26;         // 26  printed as it is
    uint32_t      bits;             // 28  application, status, class and address family, see below
    uint8_t       value_32;         // 32  printed as it is
    FixedText<31> name;             // 33  domain name, empty for none

    uint32_t timing_low() const { return timings & 0x1ffff; }          // bits 0-16
    uint32_t timing_middle() const { return timings >> 17 & 0x1ffff; } // bits 17-33
    uint32_t timing_high() const { return timings >> 34 & 0x3ffff; }   // bits 34-51
    uint32_t application() const { return bits & 0x3fff; }             // bits 0-13
    uint32_t http_status() const { return bits >> 14 & 0x3ff; }        // bits 14-23, 0 for none
    uint32_t traffic_class() const { return bits >> 26 & 0xf; }        // bits 2-5 of byte 31
    bool     has_ipv6() const { return bits >> 30 == 2; }              // bits 6-7 of byte 31
};                                                                     // 64
static_assert(sizeof(ResetRecord) == 64 && alignof(ResetRecord) == 1);
static_assert(offsetof(ResetRecord, source) == 8 && offsetof(ResetRecord, timings) == 16);
static_assert(offsetof(ResetRecord, bits) == 28 && offsetof(ResetRecord, name) == 33);

namespace reset_class {
constexpr uint32_t http = 5, https = 6;
}

// Follows an IPv6 record.
struct [[gnu::packed]] ResetAddresses {
    WireAddress source;      //  0
    WireAddress destination; // 16
};                           // 32
static_assert(sizeof(ResetAddresses) == 32 && offsetof(ResetAddresses, destination) == 16);

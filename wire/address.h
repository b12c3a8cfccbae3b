#pragma once
// The 16-byte address field of several records: an IPv6 address, or an IPv4 address in the first four bytes.
// Which of the two, and the order of the IPv4 bytes, is the record's business.
#include "base/wire_types.h"

struct [[gnu::packed]] WireAddress {
    uint8_t bytes[16]; //  0  an IPv6 address as it stands in a packet

    // Word i as the machine loads it: what addresses are compared by.
    uint32_t word(size_t i) const
    {
        uint32_t value;
        memcpy(&value, bytes + i * sizeof value, sizeof value);
        return value;
    }
    // The IPv4 address as a host-order number, for records that keep it in host order.
    uint32_t ipv4_host() const { return word(0); }
    // The same for records that keep it in network order.
    uint32_t ipv4_network() const { return __builtin_bswap32(word(0)); }
}; // 16
static_assert(sizeof(WireAddress) == 16 && alignof(WireAddress) == 1);

#pragma once
// Addresses as operators write them.
#include "lab/world/address.h"

// One address, a prefix or a range (IPv4), or one address (IPv6).
struct AddressFilter {
    bool given = false;
    bool ipv6 = false;
    uint32_t low = 0, high = 0;
    Address address;

    bool read(std::string_view text); // false when it is neither
    bool passes(const Address& candidate) const;
};

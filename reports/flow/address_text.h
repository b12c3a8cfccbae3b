#pragma once
// An address of a record that says which family it is of.
#include "base/address.h"
#include "wire/address.h"

// `ipv4` is the IPv4 address as a host-order number, for records that are not IPv6.
inline Ipv6Text address_text(bool is_ipv6, const WireAddress& address, uint32_t ipv4)
{
    if (is_ipv6)
        return ipv6_text(address.bytes);
    Ipv4Text narrow = ipv4_text(ipv4);
    Ipv6Text out;
    memcpy(out.text, narrow.text, sizeof narrow.text);
    return out;
}

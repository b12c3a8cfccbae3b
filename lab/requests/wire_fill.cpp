#include "lab/requests/wire_fill.h"

WireAddress host_order_address(const Address& address)
{
    WireAddress wire{};
    uint32_t host = address.ipv4();
    if (address.ipv6)
        memcpy(wire.bytes, address.bytes.data(), sizeof wire.bytes);
    else
        memcpy(wire.bytes, &host, sizeof host);
    return wire;
}

WireAddress network_order_address(const Address& address)
{
    WireAddress wire{};
    memcpy(wire.bytes, address.bytes.data(), sizeof wire.bytes);
    return wire;
}

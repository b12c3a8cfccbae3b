#include "lab/world/address.h"

#include <arpa/inet.h>
#include <cstring>

size_t AddressHash::operator()(const Address& address) const
{
    uint64_t high = 0, low = 0;
    memcpy(&high, address.bytes.data(), sizeof high);
    memcpy(&low, address.bytes.data() + sizeof high, sizeof low);
    uint64_t mixed = (high ^ (low * 0x9e3779b97f4a7c15u)) * 0xbf58476d1ce4e5b9u;
    return mixed ^ (mixed >> 29);
}

Address ipv4_address(uint32_t host_order)
{
    Address address;
    for (size_t i = 0; i < 4; i++)
        address.bytes[i] = static_cast<uint8_t>(host_order >> (24 - 8 * i));
    return address;
}

Address address_from(const uint8_t* network_order, bool ipv6)
{
    Address address;
    address.ipv6 = ipv6;
    memcpy(address.bytes.data(), network_order, ipv6 ? 16 : 4);
    return address;
}

bool parse_address(std::string_view text, Address& out)
{
    std::string terminated{text};
    uint8_t bytes[16];
    for (int family : {AF_INET, AF_INET6})
        if (inet_pton(family, terminated.c_str(), bytes) == 1) {
            out = address_from(bytes, family == AF_INET6);
            return true;
        }
    return false;
}

std::string address_text(const Address& address)
{
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(address.ipv6 ? AF_INET6 : AF_INET, address.bytes.data(), text, sizeof text);
    return text;
}

static bool is_inside_ipv4(uint32_t ip)
{
    static constexpr struct {
        uint32_t network, mask;
    } inside[] = {
        {0x00000000, 0xff000000}, // this network
        {0x0a000000, 0xff000000}, // 10/8
        {0x7f000000, 0xff000000}, // loopback
        {0xa9fe0000, 0xffff0000}, // link-local
        {0xac100000, 0xfff00000}, // 172.16/12
        {0xc0a80000, 0xffff0000}, // 192.168/16
        {0xe0000000, 0xe0000000}, // multicast, reserved, broadcast
    };
    for (auto& range : inside)
        if ((ip & range.mask) == range.network)
            return true;
    return false;
}

bool is_inside(const Address& address)
{
    if (!address.ipv6)
        return is_inside_ipv4(address.ipv4());
    uint8_t first = address.bytes[0], second = address.bytes[1];
    bool unique_local = (first & 0xfe) == 0xfc, link_local = first == 0xfe && (second & 0xc0) == 0x80;
    return unique_local || link_local || first == 0xff || first == 0; // 0: unspecified, loopback, mapped
}

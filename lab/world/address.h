#pragma once
// Network addresses of both families as the lab keeps them.
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

struct Address {
    std::array<uint8_t, 16> bytes{}; // network order; IPv4 in the first four, the rest zero
    bool ipv6 = false;

    bool operator==(const Address&) const = default;
    uint32_t ipv4() const // host order
    {
        return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
               static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
    }
};

struct AddressHash {
    size_t operator()(const Address& address) const;
};

using Mac = std::array<uint8_t, 6>; // all zero: not known

Address ipv4_address(uint32_t host_order);
Address address_from(const uint8_t* network_order, bool ipv6); // reads 4 or 16 bytes
bool parse_address(std::string_view text, Address& out);       // dotted IPv4 or any IPv6 form
std::string address_text(const Address& address);              // as inet_ntop writes it
// Not routed on the public networks: private, loopback, link-local, multicast and unspecified addresses.
bool is_inside(const Address& address);

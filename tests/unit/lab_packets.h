#pragma once
// Packets for the lab, field by field, without a link layer.
#include <cstdint>
#include <string>

// A number of `size` bytes.
inline std::string number(uint64_t value, size_t size, bool network_order = true)
{
    std::string out(size, '\0');
    for (size_t i = 0; i < size; i++, value >>= 8)
        out[network_order ? size - 1 - i : i] = static_cast<char>(value);
    return out;
}

inline std::string ipv4(uint8_t protocol, uint32_t source, uint32_t destination, const std::string& content)
{
    return number(0x4500, 2) + number(20 + content.size(), 2) + number(0x10000, 4) + number(0x4000U | protocol, 2) + number(0, 2) +
           number(source, 4) + number(destination, 4) + content;
}

inline std::string udp(uint32_t source, uint16_t port, uint32_t destination, uint16_t to, const std::string& content)
{
    return ipv4(17, source, destination, number(port, 2) + number(to, 2) + number(8 + content.size(), 2) + number(0, 2) + content);
}

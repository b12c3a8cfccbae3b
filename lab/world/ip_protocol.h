#pragma once
// The IP protocols that sessions are made of.
#include <cstdint>

namespace ip_protocol {
constexpr uint8_t icmp = 1, tcp = 6, udp = 17, icmp6 = 58;
}

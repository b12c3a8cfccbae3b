#pragma once
// One captured frame, from the link layer to the transport payload. Nothing in a frame is trusted: every
// length is held against the bytes that were captured.
#include "lab/world/address.h"
#include "lab/world/ip_protocol.h"

#include <cstdint>
#include <span>

using Bytes = std::span<const uint8_t>;

inline uint16_t read16(Bytes bytes, size_t at)
{
    return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}
inline uint32_t read32(Bytes bytes, size_t at)
{
    return static_cast<uint32_t>(read16(bytes, at)) << 16 | read16(bytes, at + 2);
}

namespace tcp_flag {
constexpr uint8_t fin = 1, syn = 2, rst = 4, ack = 16;
}

struct Packet {
    uint64_t time = 0;         // microseconds since the epoch
    uint32_t frame_length = 0; // bytes on the wire
    Mac source_mac{}, destination_mac{};
    uint16_t vlan = 0; // of the outer tag; 0: none
    Address source, destination;
    uint8_t hops = 0, protocol = 0;
    uint16_t source_port = 0, destination_port = 0; // ICMP echo: the identifier in both
    uint32_t sequence = 0, acknowledgement = 0;
    uint16_t window = 0;
    uint8_t flags = 0; // of TCP
    uint8_t icmp_type = 0;
    uint32_t payload_length = 0; // of the transport, as the headers say
    Bytes payload;               // what was captured of it

    bool has(uint8_t flag) const { return (flags & flag) != 0; }
};

// A piece of an IP datagram, before it is put together.
struct Fragment {
    uint32_t identification = 0;
    uint32_t offset = 0; // bytes
    bool more = false;
    uint32_t length = 0; // as the headers say; what was captured may be less
    Bytes bytes;
};

enum class Decoded { packet, fragment, not_ip, other_protocol, truncated, malformed, unknown_link };

// Whether decode_frame() reads frames of this link type, as libpcap numbers them.
bool is_known_link(int link_type);

// Reads one frame. `packet` is complete for Decoded::packet; for Decoded::fragment it lacks the transport,
// and `fragment` is filled. `frame_length` is the length on the wire.
Decoded decode_frame(int link_type, Bytes frame, uint32_t frame_length, Packet& packet, Fragment& fragment);

// Reads the transport header of a datagram of `length` bytes, of which `bytes` were captured.
Decoded decode_transport(Bytes bytes, uint32_t length, Packet& packet);

#include "lab/packets/packet.h"

#include <algorithm>
#include <pcap/dlt.h>

namespace {

constexpr uint16_t ethertype_ipv4 = 0x0800, ethertype_ipv6 = 0x86dd;
constexpr int tags_max = 8, extensions_max = 16;

// Where a frame's network layer begins.
struct Network {
    uint16_t ethertype = 0;
    Bytes bytes;
};

bool is_tag(uint16_t ethertype)
{
    return ethertype == 0x8100 || ethertype == 0x88a8 || ethertype == 0x9100;
}

// Steps over the tags of virtual networks; false when a tag is cut off.
bool skip_tags(Network& network, Packet& packet)
{
    for (int tags = 0; is_tag(network.ethertype) && tags < tags_max; tags++) {
        if (network.bytes.size() < 4)
            return false;
        if (tags == 0)
            packet.vlan = read16(network.bytes, 0) & 0xfff;
        network.ethertype = read16(network.bytes, 2);
        network.bytes = network.bytes.subspan(4);
    }
    return true;
}

bool read_link_header(Bytes frame, size_t header, size_t ethertype_at, Network& network)
{
    if (frame.size() < header)
        return false;
    network = {read16(frame, ethertype_at), frame.subspan(header)};
    return true;
}

bool read_ethernet(Bytes frame, Packet& packet, Network& network)
{
    if (!read_link_header(frame, 14, 12, network))
        return false;
    std::copy_n(frame.begin(), 6, packet.destination_mac.begin());
    std::copy_n(frame.begin() + 6, 6, packet.source_mac.begin());
    return true;
}

// Linux cooked frames carry the sender's address only, where it has the size of a MAC.
bool read_cooked(Bytes frame, bool second_version, Packet& packet, Network& network)
{
    if (!read_link_header(frame, second_version ? 20 : 16, second_version ? 0 : 14, network))
        return false;
    size_t length = second_version ? frame[11] : read16(frame, 4);
    size_t at = second_version ? 12 : 6;
    if (length == packet.source_mac.size())
        std::copy_n(frame.begin() + static_cast<ptrdiff_t>(at), length, packet.source_mac.begin());
    return true;
}

// The family word of loopback frames is in the order of the machine that captured, or in network order.
bool read_loopback(Bytes frame, Network& network)
{
    if (frame.size() < 4)
        return false;
    uint32_t family = std::max(frame[0], frame[3]); // all families are below 256
    network = {family == 2 ? ethertype_ipv4 : family >= 10 ? ethertype_ipv6 : uint16_t{0}, frame.subspan(4)};
    return true;
}

bool read_raw(Bytes frame, Network& network)
{
    if (frame.empty())
        return false;
    uint8_t version = frame[0] >> 4;
    network = {version == 4 ? ethertype_ipv4 : version == 6 ? ethertype_ipv6 : uint16_t{0}, frame};
    return true;
}

bool read_link(int link_type, Bytes frame, Packet& packet, Network& network)
{
    switch (link_type) {
    case DLT_EN10MB:
        return read_ethernet(frame, packet, network);
    case DLT_LINUX_SLL:
        return read_cooked(frame, false, packet, network);
    case DLT_LINUX_SLL2:
        return read_cooked(frame, true, packet, network);
    case DLT_NULL:
    case DLT_LOOP:
        return read_loopback(frame, network);
    default:
        return read_raw(frame, network);
    }
}

// The rest of an IP datagram of `length` bytes, of which `bytes` were captured: a piece or a whole.
Decoded decode_rest(Bytes bytes, uint32_t length, bool is_piece, Packet& packet, Fragment& fragment)
{
    bytes = bytes.first(std::min<size_t>(bytes.size(), length));
    if (!is_piece)
        return decode_transport(bytes, length, packet);
    fragment.length = length;
    fragment.bytes = bytes;
    return Decoded::fragment;
}

// What a frame is that ends within its headers.
Decoded too_short(uint32_t missing)
{
    return missing != 0 ? Decoded::truncated : Decoded::malformed;
}

// `missing`: bytes of the frame that were on the wire and not captured.
Decoded decode_ipv4(Bytes bytes, uint32_t missing, Packet& packet, Fragment& fragment)
{
    if (bytes.size() < 20)
        return too_short(missing);
    uint32_t header = 4u * (bytes[0] & 15), total = read16(bytes, 2);
    if (total == 0) // left to the network card
        total = static_cast<uint32_t>(bytes.size()) + missing;
    if (bytes[0] >> 4 != 4 || header < 20 || total < header)
        return Decoded::malformed;
    if (bytes.size() < header)
        return too_short(missing);
    packet.hops = bytes[8];
    packet.protocol = bytes[9];
    packet.source = address_from(&bytes[12], false);
    packet.destination = address_from(&bytes[16], false);
    uint16_t place = read16(bytes, 6);
    fragment.identification = read16(bytes, 4);
    fragment.more = (place & 0x2000) != 0;
    fragment.offset = 8u * (place & 0x1fff);
    return decode_rest(bytes.subspan(header), total - header, fragment.more || fragment.offset != 0, packet,
                       fragment);
}

bool is_extension(uint8_t protocol)
{
    return protocol == 0 || protocol == 43 || protocol == 44 || protocol == 51 || protocol == 60;
}

Decoded decode_ipv6(Bytes bytes, uint32_t missing, Packet& packet, Fragment& fragment)
{
    if (bytes.size() < 40)
        return too_short(missing);
    if (bytes[0] >> 4 != 6)
        return Decoded::malformed;
    uint32_t length = read16(bytes, 4);
    packet.protocol = bytes[6];
    packet.hops = bytes[7];
    packet.source = address_from(&bytes[8], true);
    packet.destination = address_from(&bytes[24], true);
    bytes = bytes.subspan(40);
    if (length == 0) // left to the network card
        length = static_cast<uint32_t>(bytes.size()) + missing;
    bool is_piece = false; // then what follows is put together first
    for (int i = 0; !is_piece && is_extension(packet.protocol); i++) {
        if (i == extensions_max || length < 8)
            return Decoded::malformed;
        if (bytes.size() < 8)
            return too_short(missing);
        uint32_t size = packet.protocol == 44   ? 8
                        : packet.protocol == 51 ? 4u * (bytes[1] + 2u)
                                                : 8u * (bytes[1] + 1u);
        if (packet.protocol == 44) {
            fragment = {read32(bytes, 4), read16(bytes, 2) & 0xfff8u, (bytes[3] & 1) != 0, 0, {}};
            is_piece = fragment.more || fragment.offset != 0;
        }
        packet.protocol = bytes[0];
        if (length < size)
            return Decoded::malformed;
        if (bytes.size() < size)
            return too_short(missing);
        bytes = bytes.subspan(size);
        length -= size;
    }
    return decode_rest(bytes, length, is_piece, packet, fragment);
}

Decoded decode_tcp(Bytes bytes, uint32_t length, Packet& packet)
{
    if (length < 20)
        return Decoded::malformed;
    if (bytes.size() < 20)
        return Decoded::truncated;
    uint32_t header = 4u * (bytes[12] >> 4);
    if (header < 20 || header > length)
        return Decoded::malformed;
    if (bytes.size() < header)
        return Decoded::truncated;
    packet.source_port = read16(bytes, 0);
    packet.destination_port = read16(bytes, 2);
    packet.sequence = read32(bytes, 4);
    packet.acknowledgement = read32(bytes, 8);
    packet.flags = bytes[13];
    packet.window = read16(bytes, 14);
    packet.payload_length = length - header;
    packet.payload = bytes.subspan(header);
    return Decoded::packet;
}

Decoded decode_udp(Bytes bytes, uint32_t length, Packet& packet)
{
    if (length < 8)
        return Decoded::malformed;
    if (bytes.size() < 8)
        return Decoded::truncated;
    uint32_t stated = read16(bytes, 4);
    if (stated == 0 && packet.source.ipv6) // a jumbogram
        stated = length;
    if (stated < 8)
        return Decoded::malformed;
    stated = std::min(stated, length);
    packet.source_port = read16(bytes, 0);
    packet.destination_port = read16(bytes, 2);
    packet.payload_length = stated - 8;
    packet.payload = bytes.subspan(8, std::min<size_t>(bytes.size(), stated) - 8);
    return Decoded::packet;
}

Decoded decode_icmp(Bytes bytes, uint32_t length, Packet& packet)
{
    if (length < 8)
        return Decoded::malformed;
    if (bytes.size() < 8)
        return Decoded::truncated;
    packet.icmp_type = bytes[0];
    bool echo = packet.protocol == ip_protocol::icmp ? bytes[0] == 0 || bytes[0] == 8
                                                     : bytes[0] == 128 || bytes[0] == 129;
    packet.source_port = packet.destination_port = echo ? read16(bytes, 4) : uint16_t{0};
    packet.payload_length = length - 8;
    packet.payload = bytes.subspan(8);
    return Decoded::packet;
}

} // namespace

bool is_known_link(int link_type)
{
    constexpr int known[] = {DLT_EN10MB, DLT_LINUX_SLL, DLT_LINUX_SLL2, DLT_RAW,
                             DLT_IPV4,   DLT_IPV6,      DLT_NULL,       DLT_LOOP};
    return std::find(std::begin(known), std::end(known), link_type) != std::end(known);
}

Decoded decode_transport(Bytes bytes, uint32_t length, Packet& packet)
{
    switch (packet.protocol) {
    case ip_protocol::tcp:
        return decode_tcp(bytes, length, packet);
    case ip_protocol::udp:
        return decode_udp(bytes, length, packet);
    case ip_protocol::icmp:
    case ip_protocol::icmp6:
        return decode_icmp(bytes, length, packet);
    default:
        return Decoded::other_protocol;
    }
}

Decoded decode_frame(int link_type, Bytes frame, uint32_t frame_length, Packet& packet, Fragment& fragment)
{
    if (!is_known_link(link_type))
        return Decoded::unknown_link;
    packet.frame_length = frame_length;
    uint32_t missing = frame_length - static_cast<uint32_t>(std::min<size_t>(frame.size(), frame_length));
    Network network;
    if (!read_link(link_type, frame, packet, network) || !skip_tags(network, packet))
        return too_short(missing);
    switch (network.ethertype) {
    case ethertype_ipv4:
        return decode_ipv4(network.bytes, missing, packet, fragment);
    case ethertype_ipv6:
        return decode_ipv6(network.bytes, missing, packet, fragment);
    default:
        return Decoded::not_ip;
    }
}

#include "lab/packets/frames.h"

#include "lab/packets/frame_headers.h"

#include <algorithm>
#include <cstring>

namespace {

static_assert(sizeof(FrameHeader) + snap_length == frame_record_max);

constexpr uint8_t tcp_fin = 1, tcp_syn = 2, tcp_rst = 4, tcp_push = 8, tcp_ack = 16;

template <class Header> void append_bytes(std::string& out, const Header& header)
{
    out.append(reinterpret_cast<const char*>(&header), sizeof header);
}

uint16_t checksum_of(const void* data, size_t size)
{
    const auto* bytes = static_cast<const uint8_t*>(data);
    uint32_t sum = 0;
    for (size_t i = 0; i + 1 < size; i += 2)
        sum += static_cast<uint32_t>(bytes[i] << 8 | bytes[i + 1]);
    while (sum >> 16 != 0)
        sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}

// One packet's place in its session.
struct Place {
    bool up = true;      // from the client
    uint32_t index = 0;  // among the packets of its direction
    uint32_t others = 0; // packets of the other direction before it
    uint32_t of = 1;     // packets of its direction
    bool last = false;   // of the session
};

// Directions take turns in proportion to their packets; the client begins.
Place place_of(const Session& s, uint32_t k)
{
    uint64_t total = frames_of(s), up = std::min<uint64_t>(std::max(s.up_packets, 1U), total);
    if (s.up_packets == 0 && s.down_packets != 0)
        up = 0;
    uint64_t up_before = (k * up + total - 1) / total, up_after = ((k + 1) * up + total - 1) / total;
    Place place;
    place.up = up_after > up_before;
    place.index = static_cast<uint32_t>(place.up ? up_before : k - up_before);
    place.others = k - place.index;
    place.of = static_cast<uint32_t>(place.up ? up : total - up);
    place.last = k + 1 == total;
    return place;
}

// Payload of packet `index` of a direction of `count` packets with `bytes` in all, headers included. The
// first TCP packet, the SYN, has none.
struct Payload {
    uint64_t before = 0; // payload bytes sent before this packet
    uint32_t size = 0;
};

Payload payload_of(uint64_t bytes, uint32_t count, uint32_t index, uint32_t headers, bool first_is_empty)
{
    uint64_t all = bytes > uint64_t{count} * headers ? bytes - uint64_t{count} * headers : 0;
    if (first_is_empty && count > 1) {
        if (index == 0)
            return {};
        count--;
        index--;
    }
    uint64_t share = all / count, rest = all % count; // the first `rest` packets carry one byte more
    Payload payload;
    payload.before = share * index + std::min<uint64_t>(index, rest);
    payload.size = static_cast<uint32_t>(std::min<uint64_t>(share + (index < rest ? 1 : 0), 65000));
    return payload;
}

uint32_t transport_size(uint8_t protocol)
{
    switch (protocol) {
    case 6:
        return sizeof(TcpHeader);
    case 17:
        return sizeof(UdpHeader);
    case 1:
    case 58:
        return sizeof(EchoHeader);
    default:
        return 0;
    }
}

uint8_t tcp_flags(const Session& s, const Place& place, uint32_t payload)
{
    if (place.index == 0 && s.handshake != Handshake::none)
        return place.up ? tcp_syn : tcp_syn | tcp_ack;
    if (place.last && s.reset != ResetBy::nobody)
        return tcp_rst | tcp_ack;
    if (place.index + 1 == place.of && s.handshake == Handshake::complete && s.reset == ResetBy::nobody)
        return tcp_fin | tcp_ack;
    return static_cast<uint8_t>(tcp_ack | (payload != 0 ? tcp_push : 0));
}

void append_tcp(const Session& s, const Place& place, const Payload& payload, std::string& out)
{
    TcpHeader tcp{};
    tcp.source_port = place.up ? s.client_port : s.server_port;
    tcp.destination_port = place.up ? s.server_port : s.client_port;
    tcp.sequence = static_cast<uint32_t>(payload.before + (place.index != 0 ? 1 : 0));
    tcp.acknowledged = place.others != 0 ? 1 : 0;
    tcp.offset = 0x50;
    tcp.flags = tcp_flags(s, place, payload.size);
    tcp.window = 65535;
    append_bytes(out, tcp);
}

void append_udp(const Session& s, const Place& place, const Payload& payload, std::string& out)
{
    UdpHeader udp{};
    udp.source_port = place.up ? s.client_port : s.server_port;
    udp.destination_port = place.up ? s.server_port : s.client_port;
    udp.length = static_cast<uint16_t>(sizeof udp + payload.size);
    append_bytes(out, udp);
}

void append_echo(const Session& s, const Place& place, std::string& out)
{
    EchoHeader echo{};
    bool ipv6 = s.protocol == 58;
    echo.type = place.up ? (ipv6 ? 128 : 8) : (ipv6 ? 129 : 0);
    echo.id = s.client_port;
    echo.sequence = static_cast<uint16_t>(place.index);
    append_bytes(out, echo);
}

void append_ip(const Traffic& traffic, const Session& s, const Place& place, uint32_t body, std::string& out)
{
    const Address& source = traffic.address(place.up ? s.client : s.server);
    const Address& destination = traffic.address(place.up ? s.server : s.client);
    if (source.ipv6) {
        Ipv6Header ip{};
        ip.version = 0x60;
        ip.length = static_cast<uint16_t>(body);
        ip.protocol = s.protocol;
        ip.hops = s.hops != 0 ? s.hops : 64;
        memcpy(ip.source, source.bytes.data(), sizeof ip.source);
        memcpy(ip.destination, destination.bytes.data(), sizeof ip.destination);
        return append_bytes(out, ip);
    }
    Ipv4Header ip{};
    ip.length = static_cast<uint16_t>(sizeof ip + body);
    ip.id = static_cast<uint16_t>(place.index);
    ip.hops = s.hops != 0 ? s.hops : 64;
    ip.protocol = s.protocol;
    memcpy(ip.source, source.bytes.data(), sizeof ip.source);
    memcpy(ip.destination, destination.bytes.data(), sizeof ip.destination);
    ip.checksum = checksum_of(&ip, sizeof ip);
    append_bytes(out, ip);
}

// An endpoint that was never seen on a link gets an address of the locally administered range.
void put_mac(const Endpoint& endpoint, uint8_t (&out)[6])
{
    if (endpoint.mac != Mac{}) {
        memcpy(out, endpoint.mac.data(), sizeof out);
        return;
    }
    out[0] = 2;
    out[1] = 0;
    memcpy(out + 2, endpoint.address.bytes.data() + (endpoint.address.ipv6 ? 12 : 0), 4);
}

void append_ethernet(const Traffic& traffic, const Session& s, const Place& place, std::string& out)
{
    EthernetHeader ethernet{};
    put_mac(traffic.endpoints[place.up ? s.server : s.client], ethernet.destination);
    put_mac(traffic.endpoints[place.up ? s.client : s.server], ethernet.source);
    ethernet.type = traffic.address(s.client).ipv6 ? 0x86dd : 0x0800;
    append_bytes(out, ethernet);
}

FrameHeader header_of(const Session& s, uint32_t k)
{
    uint64_t span = s.last > s.birth ? uint64_t{s.last - s.birth} * 1'000'000 : 999'999;
    uint64_t steps = std::max(frames_of(s), 2U) - 1;
    uint64_t passed = span / steps * k;
    FrameHeader header{};
    header.seconds = s.birth + static_cast<uint32_t>(passed / 1'000'000);
    header.microseconds = static_cast<uint32_t>(passed % 1'000'000);
    return header;
}

} // namespace

std::string capture_file_header()
{
    std::string out;
    append_bytes(out, FileHeader{});
    return out;
}

uint32_t frames_of(const Session& session)
{
    uint64_t frames = uint64_t{session.up_packets} + session.down_packets;
    return static_cast<uint32_t>(std::clamp<uint64_t>(frames, 1, UINT32_MAX));
}

void append_frame(const Traffic& traffic, const Session& s, uint32_t k, std::string& out)
{
    Place place = place_of(s, k);
    uint32_t transport = transport_size(s.protocol);
    uint32_t network = traffic.address(s.client).ipv6 ? sizeof(Ipv6Header) : sizeof(Ipv4Header);
    uint32_t headers = static_cast<uint32_t>(sizeof(EthernetHeader)) + network + transport;
    Payload payload =
        payload_of(place.up ? s.up_bytes : s.down_bytes, place.of, place.index, headers, s.protocol == 6);
    FrameHeader header = header_of(s, k);
    header.length = headers + payload.size;
    header.kept = std::min(header.length, snap_length);
    append_bytes(out, header);
    size_t start = out.size();
    append_ethernet(traffic, s, place, out);
    append_ip(traffic, s, place, transport + payload.size, out);
    if (s.protocol == 6)
        append_tcp(s, place, payload, out);
    else if (s.protocol == 17)
        append_udp(s, place, payload, out);
    else if (transport != 0)
        append_echo(s, place, out);
    out.resize(start + header.kept); // the payload's kept bytes are zero
}

void append_heartbeat(uint32_t time, uint32_t number, std::string& out)
{
    EthernetHeader ethernet{};
    memset(ethernet.destination, 0xff, sizeof ethernet.destination);
    ethernet.source[0] = 2;
    ethernet.type = 0x88b5; // for local experiments
    be32 serial{};
    serial = number;
    FrameHeader header{time, 0, 60, 60};
    append_bytes(out, header);
    size_t start = out.size();
    append_bytes(out, ethernet);
    append_bytes(out, serial);
    out.resize(start + header.kept);
}

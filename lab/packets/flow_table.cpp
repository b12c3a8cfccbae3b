#include "lab/packets/flow_table.h"

#include "lab/world/applications.h"

#include <algorithm>

namespace {

// Microseconds between two times; a measured delay is never 0.
uint32_t delay_between(uint64_t from, uint64_t to)
{
    return to <= from ? 1 : static_cast<uint32_t>(std::min<uint64_t>(to - from, UINT32_MAX));
}

uint32_t seconds_of(uint64_t microseconds)
{
    return static_cast<uint32_t>(microseconds / 1000000);
}

// Whether the packet is of a server that was caught in the middle of a handshake.
bool is_answer(const Packet& packet)
{
    return packet.protocol == ip_protocol::tcp && packet.has(tcp_flag::syn) && packet.has(tcp_flag::ack);
}

bool is_opening(const Packet& packet)
{
    return packet.protocol == ip_protocol::tcp && packet.has(tcp_flag::syn) && !packet.has(tcp_flag::ack);
}

uint8_t path_of(uint16_t vlan)
{
    return static_cast<uint8_t>(1 + vlan % 8);
}

} // namespace

size_t FlowTable::KeyHash::operator()(const Key& key) const
{
    uint64_t ends = static_cast<uint64_t>(key.low) << 32 | key.high;
    uint64_t ports =
        static_cast<uint64_t>(key.low_port) << 24 | static_cast<uint64_t>(key.high_port) << 8 | key.protocol;
    uint64_t mixed = (ends ^ (ports * 0x9e3779b97f4a7c15u)) * 0xbf58476d1ce4e5b9u;
    return mixed ^ (mixed >> 31);
}

FlowTable::Key FlowTable::key_of(uint32_t from, uint32_t to, uint16_t from_port, uint16_t to_port,
                                 uint8_t protocol)
{
    bool in_order = from != to ? from < to : from_port <= to_port;
    return in_order ? Key{from, to, from_port, to_port, protocol}
                    : Key{to, from, to_port, from_port, protocol};
}

// The packets of an echo carry its identifier as both ports, its session as the client's alone.
FlowTable::Key FlowTable::key_of(const Session& session)
{
    bool echo = session.protocol == ip_protocol::icmp || session.protocol == ip_protocol::icmp6;
    return key_of(session.client, session.server, session.client_port,
                  echo ? session.client_port : session.server_port, session.protocol);
}

FlowTable::Added FlowTable::add(const Packet& packet)
{
    uint32_t source = traffic_.endpoint_of(packet.source);
    uint32_t destination = traffic_.endpoint_of(packet.destination);
    if (traffic_.endpoints[source].mac == Mac{})
        traffic_.endpoints[source].mac = packet.source_mac;
    uint32_t index = session_of(packet, source, destination);
    Session& session = traffic_.sessions[index];
    bool up = is_up(packet, index, source, destination);
    count(packet, session, up);
    if (packet.protocol == ip_protocol::tcp)
        follow_tcp(packet, session, flows_[index], up);
    measure_application(packet, session, flows_[index], up);
    if (packet.protocol == ip_protocol::tcp)
        examine_stream(packet, session, flows_[index], up);
    else if (packet.protocol == ip_protocol::udp)
        examine_datagram(packet, session);
    return {index, up};
}

// Finds the packet's session or begins one.
uint32_t FlowTable::session_of(const Packet& packet, uint32_t source, uint32_t destination)
{
    Key key = key_of(source, destination, packet.source_port, packet.destination_port, packet.protocol);
    auto [found, added] = latest_.try_emplace(key, 0);
    if (!added) {
        bool up = is_up(packet, found->second, source, destination);
        added = is_opening(packet) && starts_anew(packet, found->second, up);
        if (!added && !up && is_opening(packet) && flows_[found->second].syn_time == 0)
            swap_sides(found->second);
    }
    if (added)
        found->second = begin_session(packet, source, destination);
    return found->second;
}

// Whether the packet goes from client to server. On a host that talks to itself the ports tell, and for an
// echo its type.
bool FlowTable::is_up(const Packet& packet, uint32_t index, uint32_t source, uint32_t destination) const
{
    const Session& session = traffic_.sessions[index];
    if (source != destination)
        return session.client == source;
    if (packet.protocol == ip_protocol::icmp || packet.protocol == ip_protocol::icmp6)
        return packet.icmp_type != 0 && packet.icmp_type != 129;
    return session.client_port == packet.source_port;
}

// Standard analysers begin a new conversation at a SYN when its sender used another initial sequence number
// before.
bool FlowTable::starts_anew(const Packet& packet, uint32_t index, bool up) const
{
    const Flow& flow = flows_[index];
    const Direction& direction = up ? flow.up : flow.down;
    return direction.has_base && packet.sequence != direction.base;
}

uint32_t FlowTable::begin_session(const Packet& packet, uint32_t source, uint32_t destination)
{
    bool answered = is_answer(packet);
    Session session;
    session.client = answered ? destination : source;
    session.server = answered ? source : destination;
    session.client_port = answered ? packet.destination_port : packet.source_port;
    session.server_port = answered ? packet.source_port : packet.destination_port;
    if (packet.protocol == ip_protocol::icmp || packet.protocol == ip_protocol::icmp6)
        session.server_port = 0;
    session.birth = session.last = seconds_of(packet.time);
    session.protocol = packet.protocol;
    session.application = application_of(packet.protocol, session.client_port, session.server_port);
    session.hops = packet.hops;
    session.vlan = packet.vlan;
    session.path = path_of(packet.vlan);
    if (!empty_.empty()) {
        uint32_t place = empty_.back();
        empty_.pop_back();
        traffic_.sessions[place] = session;
        return place;
    }
    traffic_.sessions.push_back(session);
    flows_.emplace_back();
    return static_cast<uint32_t>(traffic_.sessions.size() - 1);
}

// The sender of a late SYN is the client after all.
void FlowTable::swap_sides(uint32_t index)
{
    Session& session = traffic_.sessions[index];
    Flow& flow = flows_[index];
    std::swap(session.client, session.server);
    std::swap(session.client_port, session.server_port);
    std::swap(session.up_bytes, session.down_bytes);
    std::swap(session.up_packets, session.down_packets);
    std::swap(session.up_retransmissions, session.down_retransmissions);
    std::swap(session.up_zero_windows, session.down_zero_windows);
    std::swap(flow.up, flow.down);
    if (session.reset != ResetBy::nobody)
        session.reset = session.reset == ResetBy::client ? ResetBy::server : ResetBy::client;
    session.application = application_of(session.protocol, session.client_port, session.server_port);
}

void FlowTable::count(const Packet& packet, Session& session, bool up)
{
    (up ? session.up_bytes : session.down_bytes) += packet.frame_length;
    (up ? session.up_packets : session.down_packets)++;
    session.birth = std::min(session.birth, seconds_of(packet.time));
    session.last = std::max(session.last, seconds_of(packet.time));
    auto payload = static_cast<uint16_t>(std::min<uint32_t>(packet.payload_length, UINT16_MAX));
    session.largest_segment = std::max(session.largest_segment, payload);
}

// Each direction's initial sequence number comes from its own first packet, or before that from what the
// other side acknowledges.
void FlowTable::begin_numbering(const Packet& packet, Direction& own, Direction& other)
{
    bool answers = packet.has(tcp_flag::syn) && packet.has(tcp_flag::ack);
    if (!own.has_base || answers)
        own.base = packet.has(tcp_flag::syn) ? packet.sequence : packet.sequence - 1;
    own.has_base = true;
    if (!other.has_base && packet.has(tcp_flag::ack)) {
        other.base = packet.acknowledgement - 1;
        other.has_base = true;
    }
    if (packet.payload_length > 0)
        own.sequence.begin(packet.sequence);
}

// Counts what the segment's numbers and window say.
void FlowTable::note_segment(const Packet& packet, Session& session, Direction& direction, bool up)
{
    bool syn = packet.has(tcp_flag::syn);
    if (packet.payload_length > 0 && !syn) {
        size_t most = gaps_held_ < bounds_.gaps ? SequenceTracker::gaps_max : 1;
        gaps_held_ -= direction.sequence.gaps();
        if (direction.sequence.add(packet.sequence, packet.payload_length, most))
            (up ? session.up_retransmissions : session.down_retransmissions)++;
        gaps_held_ += direction.sequence.gaps();
    }
    if (packet.window == 0 && !syn && !packet.has(tcp_flag::rst))
        (up ? session.up_zero_windows : session.down_zero_windows)++;
    direction.finished |= packet.has(tcp_flag::fin);
}

void FlowTable::follow_tcp(const Packet& packet, Session& session, Flow& flow, bool up)
{
    Direction& direction = up ? flow.up : flow.down;
    bool syn = packet.has(tcp_flag::syn), ack = packet.has(tcp_flag::ack), rst = packet.has(tcp_flag::rst);
    begin_numbering(packet, direction, up ? flow.down : flow.up);
    note_segment(packet, session, direction, up);
    if (up && syn && flow.syn_time == 0) {
        flow.syn_time = packet.time;
        session.handshake = std::max(session.handshake, Handshake::syn);
    } else if (!up && syn && ack && flow.syn_ack_time == 0) {
        flow.syn_ack_time = packet.time;
        session.handshake = Handshake::ack;
        if (flow.syn_time != 0)
            session.server_delay = delay_between(flow.syn_time, packet.time);
    } else if (up && ack && !syn && !rst && session.handshake == Handshake::ack) {
        session.handshake = Handshake::complete;
        session.client_delay = delay_between(flow.syn_ack_time, packet.time);
    }
    if (rst && session.reset == ResetBy::nobody)
        session.reset = up ? ResetBy::client : ResetBy::server;
}

// From the first byte of the request to the first byte of the response. Datagrams are requests and responses
// whatever they carry.
void FlowTable::measure_application(const Packet& packet, Session& session, Flow& flow, bool up)
{
    bool has_data = packet.protocol != ip_protocol::tcp || packet.payload_length > 0;
    if (!has_data || session.application_delay != 0)
        return;
    if (up && flow.request_time == 0)
        flow.request_time = packet.time;
    else if (!up && flow.request_time != 0)
        session.application_delay = delay_between(flow.request_time, packet.time);
}

void FlowTable::name_endpoints()
{
    for (const Names* names : {&answered_names_, &older_answered_names_})
        for (auto [address, name] : *names) {
            uint32_t endpoint = traffic_.find_endpoint(address);
            if (endpoint != Traffic::nowhere)
                traffic_.endpoints[endpoint].name = name;
        }
}

void FlowTable::finish()
{
    name_endpoints();
    for (Session& session : traffic_.sessions)
        if (session.host == 0)
            session.host = traffic_.endpoints[session.server].name;
    std::stable_sort(traffic_.sessions.begin(), traffic_.sessions.end(),
                     [](const Session& a, const Session& b) { return a.birth < b.birth; });
}

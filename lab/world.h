#pragma once
// What the appliance has seen and what its operators have told it. The capture reader and the generator fill
// it; every request handler answers from it and from nothing else. What can be counted from the sessions is
// not stored beside them: see views.h.
#include "lab/address.h"
#include "lab/text_pool.h"

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

// Where an address lies. GBK texts; all empty where nothing is known (private addresses among them).
struct Location {
    std::string country; // at most 14 bytes
    std::string region;  // at most 17
    std::string city;    // at most 16
    std::string carrier; // at most 15
    bool domestic = false;
};

// One address that took part in traffic.
struct Endpoint {
    Address address;
    Mac mac{};             // all zero: never seen on a link
    uint16_t location = 0; // into World::locations
    TextId name = 0;       // learnt from name answers, handshakes and requests
};

enum class Handshake : uint8_t { none, syn, ack, complete }; // as the session records number them
enum class ResetBy : uint8_t { nobody, client, server };

// One conversation. Bytes are frame bytes as on the wire (link-layer header included); up is client to
// server. The client sent the SYN, or else the first packet seen.
struct Session {
    uint64_t up_bytes = 0, down_bytes = 0;
    uint32_t client = 0, server = 0; // into World::endpoints
    uint32_t birth = 0, last = 0;    // seconds since the epoch of the first and the last packet
    uint32_t up_packets = 0, down_packets = 0;
    uint32_t up_retransmissions = 0, down_retransmissions = 0;
    uint32_t client_delay = 0, server_delay = 0, application_delay = 0; // microseconds, 0: not measured
    TextId host = 0;                           // the name the client asked for or spoke to
    TextId request = 0;                        // "GET", "A", "TLS1.3" …: text A of the session records
    TextId banner = 0;                         // the server's program or greeting: text B
    TextId agent = 0;                          // the client's program: text C
    uint16_t client_port = 0, server_port = 0; // ICMP: the echo identifier and 0
    uint16_t application = 0;
    uint16_t host_suffix = 0;     // counts the names of the server's address before this one
    uint16_t vlan = 0;            // offset 58 of the session records
    uint16_t largest_segment = 0; // largest payload of one packet; offset 60
    uint16_t up_zero_windows = 0, down_zero_windows = 0; // offsets 80 and 82
    uint16_t http_status = 0;                            // 0: none seen
    uint8_t protocol = 0;                                // IP protocol number
    uint8_t hops = 0;                                    // TTL or hop limit of the first packet; offset 62
    uint8_t path = 1;                                    // vpaid
    Handshake handshake = Handshake::none;
    ResetBy reset = ResetBy::nobody; // the reset came at `last`
    bool encrypted = false;          // flag bit 1 of the session records
};

// Clear-text protocol events. The host of an event is its client; its MAC address is the endpoint's.
struct ProtocolEvent {
    uint32_t client = 0, server = 0;
    uint32_t time = 0;
    uint16_t client_port = 0, server_port = 0;
    uint16_t tls_version = 0;         // TLS log only
    uint8_t operation = 0;            // NetBIOS log only
    std::string user_group{}, user{}; // user parts A and B
    std::string text{}; // syslog message, SSH banner, or NetBIOS name in first-level encoding; empty for TLS
};

// Known-malicious indicators: an address (port 0: any) or a name.
struct Indicator {
    Address address; // when `name` is empty
    uint16_t port = 0;
    std::string name;
    uint8_t level = 4; // 1 critical to 4 low
    std::string type;  // below 32 bytes
};

struct EventDefinition {
    uint16_t id = 0, rule = 0, attribute_id = 0;
    bool effective = true;
    uint8_t level = 0; // 0 to 3
    uint32_t birth = 0, death = 0, last_report = 0;
    uint32_t serial = 0, excess_count = 0, object_threshold = 0;
    std::string type, attribute, operation, limit1, limit2; // at most 15, 31, 15, 31, 31 bytes
    std::string first_value, last_value;
    std::string object, object_local; // `local`: GBK
    std::string instance, instance_local;
};

// One logged occurrence of an event.
struct EventOccurrence {
    uint16_t id = 0; // of the definition
    uint16_t rule = 0, attribute_id = 0;
    bool dont_notify = false, effective = true, read = false;
    uint8_t level = 0;
    uint32_t serial = 0, report_time = 0, birth = 0, death = 0, report_mask = 0, object_threshold = 0;
    std::string type, attribute, failure, operation, limit1, limit2; // 15, 31, 15, 15, 15, 15
    std::string first_value, last_value;                             // 15
    std::string object, object_local, instance, instance_local;      // 31
};

struct Signature {
    uint32_t sid = 0;
    uint8_t category = 0;
    std::string message;
    bool enabled = true; // a disabled category shows no sessions, alerts or hits
};

struct SignatureHit {
    uint32_t session = 0, signature = 0; // indices
};

enum class AssetKind : uint16_t { ipv4 = 0, text = 1, ipv6 = 2 };

// What the operator declared; its statistics are counted from the sessions.
struct AssetObject {
    uint16_t group = 0;
    uint32_t id = 0, logical_id = 0;
    uint16_t port = 0; // 0: every port
    AssetKind kind = AssetKind::ipv4;
    std::string name;
    Address address;  // kinds ipv4 and ipv6
    std::string text; // kind text: a host name
};

struct AssetObjectGroup {
    uint16_t id = 0, parent = 0; // parent 0: none
    std::string name;
};

// What operators set up with words of its own: worker and capture tasks, reassembly rules.
struct Task {
    uint32_t id = 0;
    std::map<std::string, std::string> values;
};

struct TopologyGroup {
    uint8_t id = 0, parent = 0;
    std::string title; // at most 45 bytes
};
struct TopologyNode {
    uint32_t id = 0;
    uint8_t group = 0;
    std::string name, address;
};
struct TopologyLink {
    uint32_t id = 0, from = 0, to = 0; // nodes
    std::string name;
};
struct NetworkBranch {
    uint32_t id = 0;
    std::string name, network; // "10.1.0.0/16"
};

struct IpTable {
    struct Member {
        Address address;
        std::string info;
    };
    uint16_t id = 0;
    std::string name;
    std::vector<Member> members;
};

struct WhiteAddress {
    Address address; // IPv4
    uint32_t birth = 0;
    std::string description; // at most 43 bytes
};

// Exempt from tunnel detection: an IPv4 address, or a name.
struct TunnelExemption {
    Address address;  // when `name` is empty
    std::string name; // at most 54 bytes
};

struct DnsGroup {
    uint16_t id = 0;
    std::string name;
    std::vector<std::string> names;
};

// Packets that could not become part of a session, by reason (capture files only).
struct CaptureCounts {
    uint64_t packets = 0; // all of the file
    uint64_t truncated = 0, malformed = 0, not_ip = 0, other_protocol = 0, fragments = 0;
};

struct World {
    uint32_t now = 0; // the time the world stands at; nothing in it is younger

    // Traffic.
    TextPool texts;
    std::vector<Location> locations{Location{}};
    std::vector<Endpoint> endpoints;
    std::unordered_map<Address, uint32_t, AddressHash> endpoint_index;
    std::vector<Session> sessions; // in order of birth
    std::vector<ProtocolEvent> syslog_events, ssh_events, tls_events, netbios_events;
    CaptureCounts capture;

    // Knowledge and findings.
    std::vector<Indicator> indicators;
    std::vector<EventDefinition> event_definitions;
    std::vector<EventOccurrence> event_log;
    std::vector<Signature> signatures;
    std::vector<SignatureHit> signature_hits; // in order of time

    // What operators set up.
    std::vector<AssetObject> assets;
    std::vector<AssetObjectGroup> asset_groups;
    std::vector<TopologyGroup> groups;
    std::vector<TopologyNode> nodes;
    std::vector<TopologyLink> links;
    std::vector<NetworkBranch> branches;
    std::vector<IpTable> ip_tables;
    std::vector<WhiteAddress> white_addresses;
    std::vector<TunnelExemption> tunnel_white_list;     // of the analysis daemon
    std::vector<TunnelExemption> dns_tunnel_white_list; // of the management daemon
    std::vector<DnsGroup> dns_groups;
    std::map<std::string, std::map<std::string, std::string>> settings; // module, key, value
    std::map<std::string, std::vector<Task>> tasks;                     // by module

    const Address& address(uint32_t endpoint) const { return endpoints[endpoint].address; }
    const Location& location(uint32_t endpoint) const { return locations[endpoints[endpoint].location]; }
    std::string_view text(TextId id) const { return texts.at(id); }
    uint32_t endpoint_of(const Address& address); // finds or adds
    // The endpoint's name, or its address as text where no name was learnt.
    std::string name_of(uint32_t endpoint) const;
};

// The seconds a session lasted, at least 1.
inline uint32_t duration_of(const Session& session)
{
    return session.last > session.birth ? session.last - session.birth : 1;
}

// Fills what operators and intelligence would have added, from the traffic already in the world: locations
// where there are none, indicators, event rules and their log, signatures, assets, topology, tables, lists.
// The same traffic gives the same furniture.
void furnish(World& world);

#pragma once
// What the appliance has seen, what it knows, and what its operators have told it. Every request handler
// answers from it and from nothing else.
#include "lab/world/traffic.h"

#include <map>

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
    bool enabled = true;    // a disabled category shows no sessions, alerts or hits
    uint32_t forgotten = 0; // operators removed the hits of sessions that began until then
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

// What the appliance knows and found, and what operators set up.
struct Knowledge {
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
};

struct World : Traffic, Knowledge {};

#pragma once
// What the appliance has seen. The capture reader or the generator fills it; what can be counted from the
// sessions is not stored beside them: see views/.
#include "lab/world/address.h"
#include "lab/world/live.h"
#include "lab/world/text_pool.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
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
    uint16_t location = 0; // into Traffic::locations
    TextId name = 0;       // learnt from name answers, handshakes and requests
};

enum class Handshake : uint8_t { none, syn, ack, complete }; // as the session records number them
enum class ResetBy : uint8_t { nobody, client, server };

// One conversation. Bytes are frame bytes as on the wire (link-layer header included); up is client to
// server. The client sent the SYN, or else the first packet seen.
struct Session {
    uint64_t up_bytes = 0, down_bytes = 0;
    uint32_t client = 0, server = 0; // into Traffic::endpoints
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

// The packets of a capture: those of sessions, and by reason those that could not become part of one.
struct CaptureCounts {
    uint64_t packets = 0, followed = 0; // all, and those of sessions
    uint64_t unknown_link = 0, truncated = 0, malformed = 0, not_ip = 0, other_protocol = 0, fragments = 0;
};

struct Traffic {
    uint32_t now = 0; // the time the world stands at; nothing in it is younger

    TextPool texts;
    std::vector<Location> locations{Location{}};
    std::vector<Endpoint> endpoints;
    std::vector<Session> sessions; // in order of birth
    std::vector<ProtocolEvent> syslog_events, ssh_events, tls_events, netbios_events;
    CaptureCounts capture;
    std::optional<LiveDetails> live; // nothing: the traffic is what it is

    const Address& address(uint32_t endpoint) const { return endpoints[endpoint].address; }
    const Location& location(uint32_t endpoint) const { return locations[endpoints[endpoint].location]; }
    std::string_view text(TextId id) const { return texts.at(id); }
    // The name that a session's host is known by elsewhere: the host without its port. 0: known nowhere.
    TextId name_of_host(TextId host) const;
    static constexpr uint32_t nowhere = UINT32_MAX;
    uint32_t find_endpoint(const Address& address) const; // nowhere: it took part in nothing
    uint32_t endpoint_of(const Address& address);         // finds or adds
    // Forgets the endpoints that are not `used`. Returns their new numbers, in the same order; nowhere for
    // the forgotten ones.
    std::vector<uint32_t> keep_endpoints(const std::vector<bool>& used);
    // The endpoint's name, or its address as text where no name was learnt.
    std::string name_of(uint32_t endpoint) const;

    std::array<std::vector<ProtocolEvent>*, 4> logs()
    {
        return {&syslog_events, &ssh_events, &tls_events, &netbios_events};
    }
    std::array<const std::vector<ProtocolEvent>*, 4> logs() const
    {
        return {&syslog_events, &ssh_events, &tls_events, &netbios_events};
    }

private:
    size_t slot_of(const Address& address) const;
    void make_slots();

    // Endpoints by their address: a power of two of slots, at most half of them taken, the rest `nowhere`.
    // What is not in its own slot is in the next free one.
    std::vector<uint32_t> slots_;
};

// The seconds a session lasted, at least 1.
inline uint32_t duration_of(const Session& session)
{
    return session.last > session.birth ? session.last - session.birth : 1;
}

// What the session carries in a second: over its duration, or where the traffic is live of late.
Rate rate_of(const Traffic& traffic, const Session& session);

#pragma once
// Turns packets into sessions.
#include "lab/packets/packet.h"
#include "lab/packets/sequence.h"
#include "lab/world/traffic.h"

#include <string>
#include <unordered_map>
#include <vector>

class FlowTable {
public:
    explicit FlowTable(Traffic& traffic) : traffic_(traffic), flows_(traffic.sessions.size()) {}

    void add(const Packet& packet);
    // After the last packet: sessions take the names that were learnt for their servers and stand in order of
    // birth.
    void finish();

private:
    // Both directions of a conversation have the same key.
    struct Key {
        uint32_t low, high; // endpoints
        uint16_t low_port, high_port;
        uint8_t protocol;
        bool operator==(const Key&) const = default;
    };
    struct KeyHash {
        size_t operator()(const Key& key) const;
    };
    // The first payload bytes of a direction, in order, until they have told what they can.
    struct Head {
        std::string bytes;
        uint32_t next = 0;
        bool begun = false, done = false;
    };
    struct Direction {
        bool has_base = false;
        uint32_t base = 0; // the initial sequence number, or the one before the first known
        SequenceTracker sequence;
        Head head;
    };
    struct Flow {
        Direction up, down;
        uint64_t syn_time = 0, syn_ack_time = 0, request_time = 0;
    };

    uint32_t session_of(const Packet& packet, uint32_t source, uint32_t destination);
    uint32_t begin_session(const Packet& packet, uint32_t source, uint32_t destination);
    bool is_up(const Packet& packet, uint32_t index, uint32_t source, uint32_t destination) const;
    bool starts_anew(const Packet& packet, uint32_t index, bool up) const;
    void swap_sides(uint32_t index);
    void count(const Packet& packet, Session& session, bool up);
    static void begin_numbering(const Packet& packet, Direction& own, Direction& other);
    void follow_tcp(const Packet& packet, Session& session, Flow& flow, bool up);
    void measure_application(const Packet& packet, Session& session, Flow& flow, bool up);
    void examine_stream(const Packet& packet, Session& session, Flow& flow, bool up);
    bool examine_client_head(Bytes head, Session& session);
    bool examine_server_head(const Packet& packet, Bytes head, Session& session);
    void examine_datagram(const Packet& packet, Session& session);
    void learn_from_dns(Bytes payload, Session& session);
    void learn_name(uint32_t endpoint, const std::string& name);
    void log_event(std::vector<ProtocolEvent>& log, const Packet& packet, const Session& session,
                   ProtocolEvent event);

    Traffic& traffic_;
    size_t heads_held_ = 0;                             // bytes of all heads
    std::vector<Flow> flows_;                           // beside Traffic::sessions
    std::unordered_map<Key, uint32_t, KeyHash> latest_; // the newest session of a key
    std::unordered_map<Address, TextId, AddressHash> answered_names_;
};

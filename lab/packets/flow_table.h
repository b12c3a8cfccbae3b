#pragma once
// Turns packets into sessions.
#include "lab/packets/packet.h"
#include "lab/packets/sequence.h"
#include "lab/world/traffic.h"

#include <string>
#include <unordered_map>
#include <vector>

// What a table keeps besides the sessions themselves. The defaults are those of captures, which end.
struct FlowBounds {
    size_t heads = 64 << 20;    // bytes of stream heads: beyond, a head tells what it can at once or never
    size_t texts = SIZE_MAX;    // bytes of names and versions: beyond, new ones stay unknown
    size_t gaps = SIZE_MAX;     // losses that may still be filled: beyond, a direction keeps only one
    size_t answered = SIZE_MAX; // addresses whose names DNS gave: at least half as many of the newest
    size_t events = 65536;      // of each log
    bool newest_events = false; // at least half as many of the newest, instead of the first
};

class FlowTable {
public:
    explicit FlowTable(Traffic& traffic, const FlowBounds& bounds = {})
        : traffic_(traffic), bounds_(bounds), flows_(traffic.sessions.size())
    {
    }

    // Which session the packet belongs to, by its place among the traffic's sessions, and which way it goes.
    struct Added {
        uint32_t session;
        bool up;
    };
    Added add(const Packet& packet);
    // After the last packet: sessions take the names that were learnt for their servers and stand in order of
    // birth.
    void finish();

    // For traffic that does not end. Endpoints take the names that DNS answers gave their addresses.
    void name_endpoints();
    // A connection that was closed on both sides or reset.
    bool has_ended(uint32_t session) const;
    // Forgets a session: its place stays empty until the next new one takes it.
    void remove(uint32_t session);
    // Forgets the endpoints and texts that nothing refers to any more, and numbers the others anew.
    void forget_unused();

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
        bool has_base = false, finished = false;
        uint32_t base = 0; // the initial sequence number, or the one before the first known
        SequenceTracker sequence;
        Head head;
    };
    struct Flow {
        Direction up, down;
        uint64_t syn_time = 0, syn_ack_time = 0, request_time = 0;
    };
    using Names = std::unordered_map<Address, TextId, AddressHash>;

    static Key key_of(uint32_t from, uint32_t to, uint16_t from_port, uint16_t to_port, uint8_t protocol);
    static Key key_of(const Session& session);

    uint32_t session_of(const Packet& packet, uint32_t source, uint32_t destination);
    uint32_t begin_session(const Packet& packet, uint32_t source, uint32_t destination);
    bool is_up(const Packet& packet, uint32_t index, uint32_t source, uint32_t destination) const;
    bool starts_anew(const Packet& packet, uint32_t index, bool up) const;
    void swap_sides(uint32_t index);
    void count(const Packet& packet, Session& session, bool up);
    void note_segment(const Packet& packet, Session& session, Direction& direction, bool up);
    static void begin_numbering(const Packet& packet, Direction& own, Direction& other);
    void follow_tcp(const Packet& packet, Session& session, Flow& flow, bool up);
    void measure_application(const Packet& packet, Session& session, Flow& flow, bool up);
    void examine_stream(const Packet& packet, Session& session, Flow& flow, bool up);
    bool examine_client_head(Bytes head, Session& session);
    bool examine_server_head(const Packet& packet, Bytes head, Session& session);
    void examine_datagram(const Packet& packet, Session& session);
    void learn_from_dns(Bytes payload, Session& session);
    TextId keep(std::string_view text);
    void learn_name(uint32_t endpoint, const std::string& name);
    void learn_answer(const Address& address, const std::string& name);
    void log_event(std::vector<ProtocolEvent>& log, const Packet& packet, const Session& session,
                   ProtocolEvent event);

    std::vector<bool> taken_places() const;
    std::vector<bool> used_endpoints() const;
    void keep_used_texts();

    Traffic& traffic_;
    FlowBounds bounds_;
    size_t heads_held_ = 0, gaps_held_ = 0;
    std::vector<Flow> flows_;                           // beside Traffic::sessions
    std::vector<uint32_t> empty_;                       // places of sessions that were removed
    std::unordered_map<Key, uint32_t, KeyHash> latest_; // the newest session of a key
    Names answered_names_, older_answered_names_;
};

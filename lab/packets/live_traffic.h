#pragma once
// Traffic that does not end, in bounded memory.
#include "lab/packets/drop_order.h"
#include "lab/packets/flow_table.h"
#include "lab/packets/frame_reader.h"

#include <functional>

struct LiveBounds {
    uint32_t sessions = 65536; // at once
    uint32_t age = 86400;      // seconds after its last packet at which a session is dropped
};

class LiveTraffic {
public:
    // `dropped` is told of every session that has to go.
    LiveTraffic(const LiveBounds& bounds, std::function<void(const Session&)> dropped);

    void add(const Frame& frame);
    // Drops what is older than the bounds say.
    void advance(uint32_t now);
    // What a capture of the sessions there are would have given: a world's traffic, without its charts of
    // dropped sessions.
    Traffic state(uint32_t now);
    size_t sessions() const { return order_.size(); }
    const CaptureCounts& counts() const { return traffic_.capture; }
    uint64_t changes() const { return changes_; } // differs when the state does, but for its time
    uint32_t newest() const { return newest_; }   // seconds since the epoch of the latest packet

private:
    // Bytes and packets in periods of the clock: this one's, and those of the one before.
    struct Recent {
        uint64_t period = 0, up[2] = {}, down[2] = {}, packets[2] = {};

        void add(uint64_t packet_period, bool is_up, uint32_t bytes);
        Rate rate(uint32_t now) const;
    };
    struct Place {
        uint64_t number = 0; // of all sessions that ever began
        Recent recent;
    };
    void drop(uint32_t session, uint64_t DroppedCounts::*reason);
    void make_room();
    std::vector<uint32_t> in_order() const;

    LiveBounds bounds_;
    std::function<void(const Session&)> tell_dropped_;
    Traffic traffic_; // its sessions in no order, some places empty
    FrameReader reader_;
    FlowTable flows_;
    DropOrder order_;
    std::vector<Place> places_; // beside the sessions
    DroppedCounts dropped_;
    uint64_t begun_ = 0, begun_at_last_sweep_ = 0, changes_ = 0;
    uint32_t newest_ = 0;
};

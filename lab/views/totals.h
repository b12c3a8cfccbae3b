#pragma once
// What a set of sessions adds up to.
#include "lab/world/traffic.h"

struct Totals {
    uint64_t sessions = 0, bytes = 0, packets = 0;

    void count(const Session& session)
    {
        sessions++;
        bytes += session.up_bytes + session.down_bytes;
        packets += uint64_t{session.up_packets} + session.down_packets;
    }
};

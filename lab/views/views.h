#pragma once
// What the daemons count from the sessions. Computed from the world at the time of the call and stored
// nowhere, so that the totals of different reports agree.
#include "lab/world/world.h"

#include <array>
#include <string>
#include <vector>

// The location in one text: "<country><region><city>|<carrier>", the part from "|" on only with a carrier;
// cut to `most` bytes at a whole character.
std::string location_text(const Location& location, size_t most = 42);

// Of the reset records: 5 HTTP, 6 HTTPS, 0 anything else.
uint8_t traffic_class(const Session& session);

// Sessions that ended in a reset; the reset came at Session::last.
std::vector<const Session*> resets_of(const Traffic& traffic);

// Bytes per second by address and application. A session counts at both its ends with its bytes divided by
// its duration, so the sums over all records are the sums over the sessions; where the traffic is live, with
// what it carried of late, and not at all once nothing moves.
struct Throughput {
    uint32_t endpoint = 0;
    uint16_t application = 0;
    uint64_t inbound = 0, outbound = 0;
};
std::vector<Throughput> throughput_of(const Traffic& traffic); // by first appearance

// IPv4 hosts. The counters are the host's sessions as a client, so their sum over all hosts is the number of
// IPv4 sessions.
struct HostReport {
    uint32_t endpoint = 0;
    uint32_t last_seen = 0;
    std::array<uint16_t, 6> ports{}; // the first ports it served, in order of appearance
    uint32_t dns = 0, http = 0;
    std::array<uint32_t, 4> others{}; // HTTPS, SSH, ICMP, everything else
    uint32_t served = 0;              // sessions as a server
};
std::vector<HostReport> hosts_of(const Traffic& traffic);

struct AssetReport {
    const AssetObject* asset = nullptr;
    uint32_t flows = 0, succeeded = 0, failed = 0, packets = 0;
    uint64_t bytes_out = 0, bytes_in = 0;
    uint64_t rate_out = 0, rate_in = 0; // bits per second, as the throughput counts them
    uint64_t packet_rate = 0;
    uint64_t delay_sum = 0; // microseconds of server delay
    uint32_t longest_server_delay = 0, longest_application_delay = 0;
    std::array<uint32_t, 10>
        delay_samples{}; // by size: below 1, 2, 5, 10, 20, 50, 100, 200, 500 ms, and above
    uint32_t threats = 0, last_threat = 0;
};
std::vector<AssetReport> assets_of(const World& world);

// Sessions that touched an indicator.
struct MaliciousEvent {
    const Session* session = nullptr;
    const Indicator* indicator = nullptr;
};
std::vector<MaliciousEvent> malicious_of(const World& world);

struct SignatureReport {
    const Signature* signature = nullptr;
    uint32_t birth = 0, last = 0;
    uint64_t hits = 0;
};
std::vector<SignatureReport> signatures_of(const World& world); // enabled ones with hits
std::vector<SignatureHit> active_hits_of(const World& world);   // of enabled signatures
// One alert as a JSON object.
std::string alert_text(const World& world, const SignatureHit& hit);

struct WhiteReport {
    const WhiteAddress* entry = nullptr;
    uint32_t last = 0, flows = 0;
};
std::vector<WhiteReport> white_addresses_of(const World& world);
std::vector<const Session*> white_flows_of(const World& world); // IPv4 sessions whose client is on the list

// Time series over the last hours, at most 288 points of equal buckets.
struct ChartQuery {
    uint32_t hours = 24;
    uint32_t end = 0;                // 0: the world's now
    uint32_t path = 0;               // only sessions of this path; 0: all
    std::vector<std::string> tags{}; // empty: all
};
struct TimeSeries {
    std::string tag, label; // at most 31 and 47 bytes
    std::vector<uint64_t> values;
};
struct Chart {
    uint32_t bucket = 300;       // seconds
    std::vector<uint32_t> times; // starts of the buckets
    std::vector<TimeSeries> series;
};
// A session's bytes and packets are spread evenly over its duration without loss; the session itself counts
// in the bucket of its birth. Of live traffic, sessions that were dropped count too, for three days.
Chart chart_of(const Traffic& traffic, const ChartQuery& query);
// Adds a session that is dropped to what later charts show of it.
void remember(ChartHistory& history, const Session& session);

struct ChartTag {
    const char* tag;
    const char* label;
};
std::vector<ChartTag> chart_tags();

// Generated worlds, and the totals of the reports that are counted from them.
#include "lab/views/event_log.h"
#include "lab/views/views.h"
#include "lab/world/generator.h"

#include <gtest/gtest.h>
#include <set>

namespace {

constexpr uint32_t now = 1700000000;

World generated(uint32_t sessions, uint64_t seed)
{
    World world;
    generate({.sessions = sessions, .seed = seed, .now = now}, world);
    log_events(world);
    return world;
}

// Everything that tells one session from another, as text.
std::string digest(const World& world)
{
    std::string out;
    for (const Session& s : world.sessions)
        for (uint64_t value :
             {s.up_bytes, s.down_bytes, uint64_t{s.client}, uint64_t{s.server}, uint64_t{s.birth}, uint64_t{s.last},
              uint64_t{s.server_delay}, uint64_t{s.host}, uint64_t{s.client_port}, uint64_t{s.application}, uint64_t{s.http_status}})
            out += std::to_string(value) + ' ';
    for (const Endpoint& endpoint : world.endpoints)
        out += address_text(endpoint.address) + ' ' + std::string{world.text(endpoint.name)} + ' ';
    for (const EventOccurrence& event : world.event_log)
        out += event.instance + ' ';
    return out;
}

TEST(LabWorld, TheSameSeedGivesTheSameWorld)
{
    EXPECT_EQ(digest(generated(3000, 7)), digest(generated(3000, 7)));
    EXPECT_NE(digest(generated(3000, 7)), digest(generated(3000, 8)));
}

TEST(LabWorld, AGeneratedWorldHasSomethingForEveryReport)
{
    World world = generated(20000, 1);
    ASSERT_EQ(world.sessions.size(), 20000u);
    size_t ipv6 = 0, icmp = 0, retransmitting = 0, statuses = 0, incomplete = 0;
    std::set<std::string> places;
    uint32_t before = 0;
    for (const Session& s : world.sessions) {
        ASSERT_LE(before, s.birth);
        before = s.birth;
        ASSERT_LE(s.birth, s.last);
        ASSERT_LE(s.last, now);
        ASSERT_LE(s.up_bytes + s.down_bytes, UINT32_MAX); // the records have 32 bits
        ipv6 += world.address(s.client).ipv6;
        icmp += s.protocol == 1;
        retransmitting += s.up_retransmissions + s.down_retransmissions > 0;
        statuses += s.http_status >= 400;
        incomplete += s.protocol == 6 && s.handshake != Handshake::complete;
        places.insert(location_text(world.location(s.server)));
        ASSERT_EQ(world.address(s.client).ipv6, world.address(s.server).ipv6);
    }
    for (size_t some : {ipv6, icmp, retransmitting, statuses, incomplete})
        EXPECT_GT(some, 100u);
    EXPECT_GT(places.size(), 10u);
    EXPECT_TRUE(places.contains(""));                                 // inside
    EXPECT_TRUE(places.contains("\xb1\xa3\xc1\xf4\xb5\xd8\xd6\xb7")); // reserved
    EXPECT_FALSE(world.syslog_events.empty() || world.ssh_events.empty() || world.tls_events.empty() || world.netbios_events.empty());
    EXPECT_FALSE(malicious_of(world).empty() || world.event_log.empty() || signatures_of(world).empty());
    EXPECT_FALSE(white_flows_of(world).empty() || world.ip_tables[0].members.empty());
}

// Whatever the report, its totals are those of the sessions.
TEST(LabViews, TotalsOfDifferentReportsAgree)
{
    World world = generated(5000, 3);
    uint64_t bytes = 0, packets = 0, rates = 0, resets = 0, ipv4 = 0;
    for (const Session& s : world.sessions) {
        bytes += s.up_bytes + s.down_bytes;
        packets += s.up_packets + s.down_packets;
        rates += s.up_bytes / duration_of(s) + s.down_bytes / duration_of(s);
        resets += s.reset != ResetBy::nobody;
        ipv4 += !world.address(s.client).ipv6;
    }
    uint64_t inbound = 0, outbound = 0;
    for (const Throughput& record : throughput_of(world)) {
        inbound += record.inbound;
        outbound += record.outbound;
    }
    EXPECT_EQ(inbound, rates);
    EXPECT_EQ(outbound, rates);
    EXPECT_EQ(resets_of(world).size(), resets);

    uint64_t asked = 0, served = 0;
    for (const HostReport& host : hosts_of(world)) {
        asked += host.dns + host.http + host.others[0] + host.others[1] + host.others[2] + host.others[3];
        served += host.served;
    }
    EXPECT_EQ(asked, ipv4);
    EXPECT_EQ(served, ipv4);

    // Four days hold the three of the traffic; half of the last bucket may lie ahead of now.
    Chart chart = chart_of(world, {.hours = 96, .end = now + 3600});
    ASSERT_LE(chart.times.size(), 288u);
    for (auto [tag, total] : {std::pair{"bytes", bytes}, {"packets", packets}, {"resets", resets}, {"flows", uint64_t{5000}}}) {
        uint64_t sum = 0;
        for (const TimeSeries& series : chart.series)
            if (series.tag == tag)
                for (uint64_t value : series.values)
                    sum += value;
        EXPECT_EQ(sum, total) << tag;
    }
    uint64_t paths = 0;
    for (uint32_t path = 1; path <= 4; path++) {
        Chart part = chart_of(world, {.hours = 96, .end = now + 3600, .path = path, .tags = {"bytes"}});
        ASSERT_EQ(part.series.size(), 1u);
        for (uint64_t value : part.series[0].values)
            paths += value;
    }
    EXPECT_EQ(paths, bytes);
}

TEST(LabViews, LocationTextsAreCutAtWholeCharacters)
{
    Location place{"\xd6\xd0\xb9\xfa", "\xbd\xad\xcb\xd5", "", "\xb5\xe7\xd0\xc5", true};
    EXPECT_EQ(location_text(place), "\xd6\xd0\xb9\xfa\xbd\xad\xcb\xd5|\xb5\xe7\xd0\xc5");
    EXPECT_EQ(location_text(place, 7), "\xd6\xd0\xb9\xfa\xbd\xad");
    EXPECT_EQ(location_text(place, 10), "\xd6\xd0\xb9\xfa\xbd\xad\xcb\xd5|");
}

} // namespace

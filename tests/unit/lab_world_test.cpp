// Generated worlds, and the totals of the reports that are counted from them.
#include "lab/views/event_log.h"
#include "lab/views/views.h"
#include "lab/world/generator.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <set>
#include <sstream>

namespace {

constexpr uint32_t now = 1700000000;

World generated(uint64_t seed)
{
    World world;
    generate({.sessions = 5000, .seed = seed, .now = now}, world);
    log_events(world);
    return world;
}

std::string digest(const World& world)
{
    std::ostringstream out;
    for (const Session& s : world.sessions)
        out << s.up_bytes << address_text(world.address(s.server)) << world.text(s.host) << s.last;
    for (const EventOccurrence& event : world.event_log)
        out << event.instance;
    return out.str();
}

TEST(LabWorld, TheSameSeedGivesTheSameWorld)
{
    EXPECT_EQ(digest(generated(7)), digest(generated(7)));
    EXPECT_NE(digest(generated(7)), digest(generated(8)));
}

// Whatever the report, its totals are those of the sessions; and each has something to show.
TEST(LabWorld, TotalsOfDifferentReportsAgree)
{
    World world = generated(3);
    uint64_t bytes = 0, packets = 0, rates = 0, resets = 0, ipv4 = 0, incomplete = 0;
    std::set<std::string> places;
    for (const Session& s : world.sessions) {
        ASSERT_TRUE(s.birth <= s.last && s.last <= now && s.up_bytes + s.down_bytes <= UINT32_MAX); // the records have 32 bits
        ASSERT_EQ(world.address(s.client).ipv6, world.address(s.server).ipv6);
        bytes += s.up_bytes + s.down_bytes;
        packets += s.up_packets + s.down_packets;
        rates += s.up_bytes / duration_of(s) + s.down_bytes / duration_of(s);
        resets += s.reset != ResetBy::nobody;
        ipv4 += !world.address(s.client).ipv6;
        incomplete += s.protocol == 6 && s.handshake != Handshake::complete;
        places.insert(location_text(world.location(s.server)));
    }
    EXPECT_TRUE(std::ranges::is_sorted(world.sessions, {}, &Session::birth));
    EXPECT_TRUE(places.contains("") && places.size() > 10); // "": inside
    EXPECT_FALSE(resets == 0 || incomplete == 0 || ipv4 == 0 || ipv4 == 5000 || world.ip_tables[0].members.empty());
    EXPECT_FALSE(world.syslog_events.empty() || world.ssh_events.empty() || world.tls_events.empty() || world.netbios_events.empty());
    EXPECT_FALSE(malicious_of(world).empty() || world.event_log.empty() || signatures_of(world).empty() || white_flows_of(world).empty());

    uint64_t inbound = 0, outbound = 0, asked = 0, served = 0;
    for (const Throughput& record : throughput_of(world)) {
        inbound += record.inbound;
        outbound += record.outbound;
    }
    for (const HostReport& host : hosts_of(world)) {
        asked += host.dns + host.http + host.others[0] + host.others[1] + host.others[2] + host.others[3];
        served += host.served;
    }
    EXPECT_EQ(inbound, rates);
    EXPECT_EQ(outbound, rates);
    EXPECT_EQ(resets_of(world).size(), resets);
    EXPECT_EQ(std::pair(asked, served), std::pair(ipv4, ipv4));

    // Four days hold the three of the traffic; half of the last bucket may lie ahead of now.
    auto charted = [&](const char* tag, uint32_t path) {
        const Chart chart = chart_of(world, {.hours = 96, .end = now + 3600, .path = path, .tags = {tag}});
        EXPECT_LE(chart.times.size(), 288u);
        return std::reduce(chart.series.at(0).values.begin(), chart.series.at(0).values.end());
    };
    EXPECT_EQ(charted("packets", 0), packets);
    EXPECT_EQ(charted("resets", 0), resets);
    EXPECT_EQ(charted("bytes", 0), bytes);
    EXPECT_EQ(charted("bytes", 1) + charted("bytes", 2) + charted("bytes", 3) + charted("bytes", 4), bytes);
}

TEST(LabWorld, LocationTextsAreCutAtWholeCharacters)
{
    Location place{"\xd6\xd0\xb9\xfa", "\xbd\xad\xcb\xd5", "", "\xb5\xe7\xd0\xc5", true};
    EXPECT_EQ(location_text(place), "\xd6\xd0\xb9\xfa\xbd\xad\xcb\xd5|\xb5\xe7\xd0\xc5");
    EXPECT_EQ(location_text(place, 7), "\xd6\xd0\xb9\xfa\xbd\xad");
    EXPECT_EQ(location_text(place, 10), "\xd6\xd0\xb9\xfa\xbd\xad\xcb\xd5|");
}

} // namespace

// Which sessions packets make; and of traffic that does not end which of them stay, and what the others leave.
#include "lab/packets/live_traffic.h"
#include "lab/packets/sequence.h"
#include "lab/views/views.h"
#include "tests/unit/lab_packets.h"

#include <gtest/gtest.h>
#include <numeric>
#include <pcap/dlt.h>
#include <sstream>

namespace {

constexpr uint8_t F = tcp_flag::fin, S = tcp_flag::syn, R = tcp_flag::rst, A = tcp_flag::ack;
constexpr bool up = true, down = false;
constexpr uint32_t start = 1'800'000'000;

// A packet of a connection that is known by its client's port.
struct Step {
    uint16_t port;
    bool from_client; // up
    uint8_t flags;
    uint32_t sequence = 1000, acknowledgement = 0;
    size_t length = 0;
};
using Steps = std::vector<Step>;

// LiveTraffic with the history that its dropped sessions leave.
struct Watched {
    ChartHistory history;
    LiveTraffic live;

    explicit Watched(const LiveBounds& bounds) : live(bounds, [this](const Session& session) { remember(history, session); }) {}
    void add(uint64_t milliseconds, const std::string& bytes)
    {
        const Bytes content{reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
        live.add({(start * 1000ULL + milliseconds) * 1000, static_cast<uint32_t>(bytes.size()), DLT_RAW, content});
    }
    void add(uint64_t milliseconds, const Step& step)
    {
        const bool is_up = step.from_client;
        const std::string ports = is_up ? number(step.port, 2) + number(80, 2) : number(80, 2) + number(step.port, 2);
        add(milliseconds, ipv4(6, is_up ? 0x0a000001 : 0x0a000002, is_up ? 0x0a000002 : 0x0a000001,
                               ports + number(step.sequence, 4) + number(step.acknowledgement, 4) + number(0x5000U | step.flags, 2) +
                                   number(500, 2) + number(0, 4) + std::string(step.length, 'x')));
    }
    World state(uint32_t seconds)
    {
        live.advance(start + seconds);
        World world;
        static_cast<Traffic&>(world) = live.state(start + seconds);
        world.live->history = history;
        return world;
    }
};

// A step in every second.
World follow(const Steps& steps, uint32_t most = 10)
{
    Watched watched({.sessions = most});
    for (size_t i = 0; i < steps.size(); i++)
        watched.add(1000 * i, steps[i]);
    return watched.state(static_cast<uint32_t>(steps.size()));
}

TEST(LabSessions, AreMadeOfPacketsAndEndedOnesGoFirst)
{
    const struct {
        const char* what;
        uint32_t most;
        Steps steps;
        const char* sessions; // client port, packets up and down of each; how many were dropped as ended and as silent
    } cases[] = {
        {"repeated SYN", 9, {{1, up, S, 100}, {1, up, S, 100}}, "1+2-0 0 0"},
        {"port used again", 9, {{1, up, S, 9}, {1, down, S | A, 7, 10}, {1, up, S, 900}, {1, down, R | A, 0, 901}}, "1+1-1 1+1-1 0 0"},
        {"SYN after its acknowledgement", 9, {{1, down, A, 70, 101}, {1, up, S, 100}}, "1+1-1 0 0"},
        {"SYN that was not acknowledged", 9, {{1, down, A, 70, 55}, {1, up, S, 100}}, "80+1-0 1+1-0 0 0"},
        {"answer first", 9, {{1, down, S | A, 7, 10}, {1, up, A, 10, 8}}, "1+1-1 0 0"},
        {"no SYN: the first is the client", 9, {{1, down, A, 70, 101, 9}, {1, up, A, 101, 79}}, "80+1-1 0 0"},
        {"the longest silent goes", 2, {{1, up, S}, {2, up, S}, {3, up, S}}, "2+1-0 3+1-0 0 1"},
        {"who speaks again stays", 2, {{1, up, S}, {2, up, S}, {1, up, A}, {3, up, S}}, "1+2-0 3+1-0 0 1"},
        {"closed on both sides", 2, {{1, up, S}, {2, up, S}, {2, up, F | A}, {2, down, F | A}, {3, up, S}}, "1+1-0 3+1-0 1 0"},
        {"one side alone ends nothing", 2, {{1, up, S}, {2, up, S}, {2, up, F | A}, {3, up, S}}, "2+2-0 3+1-0 0 1"},
        {"the oldest ended", 3, {{1, up, S}, {2, up, S}, {3, up, S}, {3, up, R}, {2, up, R}, {4, up, S}}, "1+1-0 2+2-0 4+1-0 1 0"},
        {"ended, then silent", 2, {{1, up, S}, {2, up, S}, {1, up, R}, {3, up, S}, {4, up, S}}, "3+1-0 4+1-0 1 1"},
        {"used again once ended", 2, {{1, up, S}, {1, up, R}, {2, up, S}, {1, down, S | A}, {3, up, S}}, "2+1-0 3+1-0 1 0"},
    };
    for (const auto& c : cases) {
        const World world = follow(c.steps, c.most);
        std::ostringstream sessions;
        for (const Session& session : world.sessions)
            sessions << session.client_port << '+' << session.up_packets << '-' << session.down_packets << ' ';
        sessions << world.live->dropped.ended << ' ' << world.live->dropped.silent;
        EXPECT_EQ(sessions.str(), c.sessions) << c.what;
    }
}

TEST(LabSessions, DelaysAreMeasuredBetweenTheStepsOfAConnection)
{
    Session session = follow({{1, up, S, 100},
                              {1, up, S, 100},
                              {1, down, S | A, 500, 101},
                              {1, up, A, 101, 501},
                              {1, up, A, 101, 501, 50},
                              {1, up, A, 151, 501, 50},
                              {1, down, A, 501, 201},
                              {1, down, A, 501, 201, 80}})
                          .sessions.at(0);
    EXPECT_EQ(session.server_delay, 2000000u); // from the first SYN
    EXPECT_EQ(session.client_delay, 1000000u);
    EXPECT_EQ(session.application_delay, 3000000u); // first request byte to first response byte
}

TEST(LabSessions, OnlyBytesSeenBeforeAreRetransmissions)
{
    // First byte, length, whether all of it was seen before.
    const std::vector<std::tuple<uint32_t, uint32_t, bool>> cases[] = {
        {{100, 50, false}, {200, 50, false}, {150, 50, false}, {150, 50, true}},                   // a gap that is filled late
        {{100, 50, false}, {125, 50, false}, {125, 50, true}, {130, 10, true}},                    // half of it new
        {{100, 10, false}, {120, 10, false}, {140, 10, false}, {105, 30, false}, {105, 30, true}}, // a piece over two gaps
        {{100, 50, false}, {50, 50, false}, {50, 50, true}},                                       // before the first seen
        {{0xfffffff0, 32, false}, {0, 8, true}, {16, 8, false}},                                   // across the end of the numbers
        {{100, 50, false}, {149, 1, false}, {120, 1, true}},                                       // a keep-alive repeats the last byte
    };
    for (const auto& segments : cases) {
        SequenceTracker tracker;
        for (auto [sequence, length, repeated] : segments)
            EXPECT_EQ(tracker.add(sequence, length), repeated) << &segments - cases << ' ' << sequence;
    }
}

TEST(LabSessions, GoAtTheirAgeAndRatesAtOnce)
{
    Watched watched({.sessions = 10, .age = 60});
    watched.add(0, Step{1, up, S});
    for (uint32_t i = 0; i < 30; i++)
        watched.add(1000 * (40 + i), Step{2, up, i == 29 ? R : S});
    World state = watched.state(70);
    EXPECT_EQ(state.sessions.size(), 1u); // 70 seconds after its only packet the first is gone
    EXPECT_EQ(state.live->dropped.aged, 1u);
    EXPECT_EQ(throughput_of(state).at(0).outbound, 40u); // a packet of 40 bytes a second
    EXPECT_EQ(throughput_of(watched.state(95)).size(), 0u);
    EXPECT_EQ(watched.state(129).sessions.size(), 1u);
    EXPECT_EQ(watched.state(130).sessions.size(), 0u); // ended ones too
}

uint64_t sum(const std::vector<uint64_t>& values)
{
    return std::accumulate(values.begin(), values.end(), uint64_t{0});
}

// What dropped sessions leave: their part of the charts, and nothing else however many they are.
TEST(LabSessions, DroppedOnesStayInChartsAndTakeNoMemory)
{
    constexpr uint32_t sessions = 100'000, most = 50;
    Watched watched({.sessions = most, .age = 1'000'000});
    uint64_t bytes = 0;
    for (uint32_t i = 0; i < sessions; i++) {
        const std::string name = "name" + std::to_string(i), question = number(0x10000, 4) + number(0x10000, 4) + number(0, 4) +
                                                                        number(name.size(), 1) + name + number(0, 1) + number(0x10001, 4);
        const std::string frame = udp(0x0a000000 + i, 5000, 0xc0000200 + i % 7, 53, question);
        bytes += frame.size();
        watched.add(i / 2 * 1000ULL, frame);
        if (i % 10'000 == 0) {
            World state = watched.state(i / 2);
            EXPECT_LT(state.endpoints.size(), 3 * most + 3000);
            EXPECT_LT(state.texts.bytes(), 1u << 20);
        }
    }
    World state = watched.state(sessions / 2);
    ASSERT_EQ(state.sessions.size(), most);
    for (uint32_t i = 0, number = sessions - most; i < most; i++, number++) {
        EXPECT_EQ(state.find_endpoint(ipv4_address(0x0a000000 + number)), state.sessions[i].client);
        EXPECT_EQ(state.address(state.sessions[i].server), ipv4_address(0xc0000200 + number % 7));
        EXPECT_EQ(state.text(state.sessions[i].host), "name" + std::to_string(number));
        EXPECT_EQ(state.live->numbers[i], number);
    }
    EXPECT_EQ(state.live->dropped.sessions, sessions - most);
    Chart chart = chart_of(state, {.hours = 48, .path = 1, .tags = {"flows", "dns"}});
    EXPECT_EQ(sum(chart.series.at(0).values), sessions);
    EXPECT_EQ(sum(chart.series.at(1).values), bytes);
    EXPECT_EQ(sum(chart_of(state, {.hours = 48, .path = 2, .tags = {"flows"}}).series.at(0).values), 0u);
}

// Sessions older than the history's three days are gone from it; what is younger stays where it was.
TEST(LabSessions, TheHistoryMovesOn)
{
    ChartHistory history;
    auto dropped = [&](uint32_t hour) { remember(history, {.up_bytes = 100, .birth = start + 3600 * hour, .last = start + 3600 * hour}); };
    for (uint32_t hour = 0; hour < 100; hour++)
        dropped(hour);
    Traffic traffic;
    traffic.now = start + 3600 * 99;
    traffic.live.emplace().history = history;
    Chart chart = chart_of(traffic, {.hours = 144, .tags = {"flows"}});
    const std::vector<uint64_t>& flows = chart.series.at(0).values;
    EXPECT_EQ(sum(flows), 72u);
    for (size_t i = 0; i < flows.size(); i++)
        EXPECT_TRUE(flows[i] == 0 || chart.times[i] + chart.bucket + 72 * 3600 > traffic.now);
    dropped(500);                                      // a clock that jumps
    EXPECT_EQ(sum(history.amounts), 100u + 100u + 1u); // all bytes, bytes from clients, one new session
}

} // namespace

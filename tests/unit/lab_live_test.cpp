// Traffic that does not end: what stays, what goes, and what it leaves behind.
#include "lab/packets/live_traffic.h"
#include "lab/views/views.h"

#include <gtest/gtest.h>
#include <numeric>
#include <pcap/dlt.h>

namespace {

constexpr uint8_t F = tcp_flag::fin, S = tcp_flag::syn, R = tcp_flag::rst, A = tcp_flag::ack;
constexpr uint32_t start = 1'800'000'000;

// A datagram of so many bytes with fields: offset, width, value in network order.
std::string datagram(size_t size, std::vector<uint64_t> fields)
{
    std::string out(size, '\0');
    for (size_t f = 0; f < fields.size(); f += 3)
        for (size_t i = fields[f + 1]; i-- > 0; fields[f + 2] >>= 8)
            out[fields[f] + i] = static_cast<char>(fields[f + 2]);
    return out;
}

std::string tcp(uint32_t source, uint32_t destination, uint16_t port, uint16_t to, uint8_t flags)
{
    return datagram(40, {0,  2, 0x4500, 2,  2, 40, 8,  2, 0x4006, 12, 4, source, 16, 4, destination,
                         20, 2, port,   22, 2, to, 24, 4, 1000,   32, 1, 0x50,   33, 1, flags});
}

// A question for the address of a name of one part.
std::string question(uint32_t source, uint32_t destination, uint16_t port, const std::string& name)
{
    size_t end = 41 + name.size();
    std::string out =
        datagram(end + 5, {0,  2, 0x4500, 2,  2, end + 5,  8,  2, 0x4011,         12, 4, source,      16,      4, destination, 20, 2, port,
                           22, 2, 53,     24, 2, end - 15, 28, 6, 0x000101000001, 40, 1, name.size(), end + 1, 4, 0x10001});
    return out.replace(41, name.size(), name);
}

// LiveTraffic with the history that its dropped sessions leave.
struct Watched {
    ChartHistory history;
    LiveTraffic live;

    explicit Watched(const LiveBounds& bounds) : live(bounds, [this](const Session& session) { remember(history, session); }) {}
    void add(uint32_t time, const std::string& bytes)
    {
        Frame frame{.time = uint64_t{time} * 1'000'000,
                    .length = static_cast<uint32_t>(bytes.size()),
                    .link_type = DLT_RAW,
                    .bytes = {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}};
        live.add(frame);
    }
    World state(uint32_t now)
    {
        live.advance(now);
        World world;
        static_cast<Traffic&>(world) = live.state(now);
        world.live->history = history;
        return world;
    }
};

// Steps are packets of connections that are known by their client's port.
TEST(LabLive, EndedSessionsGoFirstThenTheLongestSilent)
{
    struct Step {
        uint16_t port;
        bool from_client;
        uint8_t flags;
    };
    const struct {
        const char* what;
        uint32_t most;
        std::vector<Step> steps;
        std::vector<uint16_t> left; // by birth
        uint64_t ended, silent;
    } cases[] = {
        {"as many as there is room for", 2, {{1, true, S}, {2, true, S}}, {1, 2}, 0, 0},
        {"the longest silent goes", 2, {{1, true, S}, {2, true, S}, {3, true, S}}, {2, 3}, 0, 1},
        {"who speaks again stays", 2, {{1, true, S}, {2, true, S}, {1, true, A}, {3, true, S}}, {1, 3}, 0, 1},
        {"a reset one before a silent one", 2, {{1, true, S}, {2, true, S}, {2, false, R}, {3, true, S}}, {1, 3}, 1, 0},
        {"one closed on both sides", 2, {{1, true, S}, {2, true, S}, {2, true, F | A}, {2, false, F | A}, {3, true, S}}, {1, 3}, 1, 0},
        {"one side alone ends nothing", 2, {{1, true, S}, {2, true, S}, {2, true, F | A}, {3, true, S}}, {2, 3}, 0, 1},
        {"the oldest ended", 3, {{1, true, S}, {2, true, S}, {3, true, S}, {3, true, R}, {2, true, R}, {4, true, S}}, {1, 2, 4}, 1, 0},
        {"ended, then silent", 2, {{1, true, S}, {2, true, S}, {1, true, R}, {3, true, S}, {4, true, S}}, {3, 4}, 1, 1},
        {"a port used again", 2, {{1, true, S}, {1, true, R}, {2, true, S}, {1, false, S | A}, {3, true, S}}, {2, 3}, 1, 0},
    };
    for (const auto& c : cases) {
        Watched watched({.sessions = c.most, .age = 86400});
        uint32_t time = start;
        for (const Step& step : c.steps)
            watched.add(time++, step.from_client ? tcp(0x0a000001, 0x0a000002, step.port, 80, step.flags)
                                                 : tcp(0x0a000002, 0x0a000001, 80, step.port, step.flags));
        World state = watched.state(time);
        std::vector<uint16_t> left;
        for (const Session& session : state.sessions)
            left.push_back(session.client_port);
        EXPECT_EQ(left, c.left) << c.what;
        EXPECT_EQ(state.live->dropped.ended, c.ended) << c.what;
        EXPECT_EQ(state.live->dropped.silent, c.silent) << c.what;
        EXPECT_EQ(state.live->dropped.sessions, c.ended + c.silent) << c.what;
    }
}

TEST(LabLive, SessionsGoAtTheirAgeAndRatesAtOnce)
{
    Watched watched({.sessions = 10, .age = 60});
    watched.add(start, tcp(0x0a000001, 0x0a000002, 1, 80, S));
    for (uint32_t i = 0; i < 30; i++)
        watched.add(start + 40 + i, tcp(0x0a000001, 0x0a000002, 2, 80, i == 29 ? R : S));
    World state = watched.state(start + 70);
    ASSERT_EQ(state.sessions.size(), 1u); // 70 seconds after its only packet the first is gone
    EXPECT_EQ(state.live->dropped.aged, 1u);
    std::vector<Throughput> throughput = throughput_of(state);
    ASSERT_EQ(throughput.size(), 2u);
    EXPECT_EQ(throughput[0].outbound, 40u); // a packet of 40 bytes a second
    EXPECT_EQ(throughput_of(watched.state(start + 95)).size(), 0u);
    EXPECT_EQ(watched.state(start + 129).sessions.size(), 1u);
    EXPECT_EQ(watched.state(start + 130).sessions.size(), 0u); // ended ones too
}

// What dropped sessions leave: their part of the charts, and nothing else however many they are.
TEST(LabLive, DroppedSessionsStayInChartsAndTakeNoMemory)
{
    constexpr uint32_t sessions = 100'000, most = 50;
    Watched watched({.sessions = most, .age = 1'000'000});
    uint64_t bytes = 0;
    for (uint32_t i = 0; i < sessions; i++) {
        std::string frame = question(0x0a000000 + i, 0xc0000200 + i % 7, 5000, "name" + std::to_string(i));
        bytes += frame.size();
        watched.add(start + i / 2, frame);
        if (i % 10'000 == 0) {
            World state = watched.state(start + i / 2);
            EXPECT_LT(state.endpoints.size(), 3 * most + 3000);
            EXPECT_LT(state.texts.bytes(), 1u << 20);
        }
    }
    World state = watched.state(start + sessions / 2);
    ASSERT_EQ(state.sessions.size(), most);
    for (uint32_t i = 0; i < most; i++) {
        const Session& session = state.sessions[i];
        uint32_t number = sessions - most + i;
        EXPECT_EQ(state.find_endpoint(ipv4_address(0x0a000000 + number)), session.client);
        EXPECT_EQ(state.address(session.server), ipv4_address(0xc0000200 + number % 7));
        EXPECT_EQ(state.text(session.host), "name" + std::to_string(number));
        EXPECT_EQ(state.live->numbers[i], number);
    }
    EXPECT_EQ(state.live->dropped.sessions, sessions - most);
    Chart chart = chart_of(state, {.hours = 48, .path = 1, .tags = {"flows", "dns"}});
    ASSERT_EQ(chart.series.size(), 2u);
    std::vector<uint64_t> sums;
    for (const TimeSeries& series : chart.series)
        sums.push_back(std::accumulate(series.values.begin(), series.values.end(), uint64_t{0}));
    EXPECT_EQ(sums, (std::vector<uint64_t>{sessions, bytes}));
    EXPECT_EQ(chart_of(state, {.hours = 48, .path = 2, .tags = {"flows"}}).series[0].values, std::vector<uint64_t>(chart.times.size()));
}

// Sessions older than the history's three days are gone from it; what is younger stays where it was.
TEST(LabLive, TheHistoryMovesOn)
{
    ChartHistory history;
    auto dropped = [&](uint32_t birth) {
        Session session;
        session.birth = session.last = birth;
        session.up_bytes = 100;
        remember(history, session);
    };
    for (uint32_t hour = 0; hour < 100; hour++)
        dropped(start + 3600 * hour);
    Traffic traffic;
    traffic.now = start + 3600 * 99;
    traffic.live.emplace().history = history;
    Chart chart = chart_of(traffic, {.hours = 144, .tags = {"flows"}});
    uint64_t shown = 0;
    for (size_t i = 0; i < chart.times.size(); i++) {
        shown += chart.series[0].values[i];
        if (chart.series[0].values[i] != 0) {
            EXPECT_GT(chart.times[i] + chart.bucket + 72 * 3600, traffic.now);
        }
    }
    EXPECT_EQ(shown, 72u);
    dropped(start + 3600 * 500); // a clock that jumps
    EXPECT_EQ(std::accumulate(history.amounts.begin(), history.amounts.end(), uint64_t{0}),
              100u + 100u + 1u); // all bytes, bytes from clients, one new session
}

} // namespace

// The lab's capture reader, held against what a standard analyser says of the same packets.
#include "lab/packets/capture.h"
#include "lab/packets/flow_table.h"
#include "lab/packets/fragments.h"
#include "tests/unit/private_files.h"

#include <gtest/gtest.h>
#include <pcap/dlt.h>
#include <random>

namespace {

const std::string sample = VIGIL_SOURCE_DIR "/tests/data/sample.pcap";

// One conversation: protocol, client, server, packets and frame bytes up, the same down.
std::string conversation(const World& world, const Session& s)
{
    return std::string{s.protocol == 6 ? "tcp" : "udp"} + ' ' + address_text(world.address(s.client)) + ' ' +
           std::to_string(s.client_port) + ' ' + address_text(world.address(s.server)) + ' ' + std::to_string(s.server_port) + ' ' +
           std::to_string(s.up_packets) + ' ' + std::to_string(s.up_bytes) + ' ' + std::to_string(s.down_packets) + ' ' +
           std::to_string(s.down_bytes);
}

bool read_content(const std::string& content, World& world, std::string& error)
{
    static PrivateFiles files;
    files.write("/capture", content);
    return read_capture(files.path + "/capture", world, error);
}

World sample_world()
{
    World world;
    std::string error;
    EXPECT_TRUE(read_capture(sample, world, error)) << error;
    return world;
}

const Session& session_from(const World& world, uint16_t client_port)
{
    for (const Session& session : world.sessions)
        if (session.client_port == client_port)
            return session;
    ADD_FAILURE() << "no session from port " << client_port;
    return world.sessions.front();
}

// As "tshark -q -z conv,tcp -z conv,udp" lists the file's conversations, in order of their first packets.
constexpr const char* conversations[] = {
    "udp 10.20.0.5 54024 10.20.0.53 53 1 75 1 109",      "tcp 10.20.0.5 58862 203.0.113.10 80 7 549 5 542",
    "udp 10.20.0.5 39400 10.20.0.53 53 2 150 2 230",     "tcp fd00:20::5 53000 2001:db8:20::10 80 8 784 8 24899",
    "udp 10.20.0.5 44783 10.20.0.53 53 1 77 1 93",       "tcp 10.20.0.5 55876 198.51.100.20 80 6 497 6 924",
    "udp 10.20.0.5 37799 10.20.0.53 53 1 76 1 92",       "tcp 10.20.0.5 51118 203.0.113.10 443 11 1457 9 7127",
    "tcp 10.20.0.5 51122 203.0.113.10 443 7 806 7 1355", "tcp fd00:20::5 46108 2001:db8:20::10 443 8 1122 8 2000",
    "udp 10.20.0.5 39371 10.20.0.53 53 2 154 2 170",     "tcp 10.20.0.5 50882 198.51.100.20 22 7 1575 5 355",
    "udp 10.20.0.5 39018 10.20.0.53 53 2 154 2 170",     "tcp 10.20.0.5 50890 198.51.100.20 22 7 1599 5 355",
    "udp 10.20.0.5 38103 10.20.0.53 53 2 154 2 170",     "tcp 10.20.0.5 50902 198.51.100.20 22 4 272 2 157",
    "udp 10.20.0.5 58927 10.20.0.53 53 2 154 2 170",     "tcp 10.20.0.5 50906 198.51.100.20 22 4 260 2 157",
    "udp 10.20.0.5 58970 10.20.0.53 53 2 154 2 170",     "tcp 10.20.0.5 50914 198.51.100.20 22 4 260 2 157",
    "udp 10.20.0.5 33455 10.20.0.53 53 1 75 1 109",      "tcp 10.20.0.5 50978 203.0.113.10 81 1 74 1 54",
    "udp 10.20.0.5 58328 10.20.0.53 53 2 158 2 158",     "tcp 10.20.0.5 40306 198.51.100.20 80 8 611 7 24673",
    "udp 10.20.0.5 43867 10.20.0.53 514 1 158 0 0",      "udp 10.20.0.5 137 10.20.0.53 137 1 92 0 0",
    "udp 10.20.0.5 38848 198.51.100.20 9999 1 1082 0 0",
};

TEST(LabCapture, ConversationsEqualTheAnalysersTable)
{
    World world = sample_world();
    std::vector<std::string> found;
    for (const Session& session : world.sessions)
        if (session.protocol == 6 || session.protocol == 17)
            found.push_back(conversation(world, session));
    EXPECT_EQ(found, std::vector<std::string>(std::begin(conversations), std::end(conversations)));
    EXPECT_EQ(world.capture.packets, 221u);
    EXPECT_EQ(world.capture.fragments, 2u); // two pieces before the one that completes the large datagram
    EXPECT_EQ(world.capture.truncated + world.capture.malformed, 0u);
}

TEST(LabCapture, SessionsCarryWhatTheProgramsSaid)
{
    World world = sample_world();
    const struct {
        uint16_t client_port, status;
        Handshake handshake;
        ResetBy reset;
        const char* texts; // host|request|banner|agent
    } expected[] = {
        {58862, 200, Handshake::complete, ResetBy::nobody, "www.lab.example|GET|SimpleHTTP/0.6|curl/7.88.1"},
        {55876, 404, Handshake::complete, ResetBy::nobody, "files.lab.example|GET|SimpleHTTP/0.6|curl/7.88.1"},
        {51118, 0, Handshake::complete, ResetBy::nobody, "shop.lab.example|TLS1.3||"},
        {51122, 0, Handshake::complete, ResetBy::nobody, "old.lab.example|TLS1.2||"},
        {50882, 0, Handshake::complete, ResetBy::nobody, "files.lab.example||SSH-2.0-lab_1.0|SSH-2.0-OpenSSH-keyscan"},
        {50978, 0, Handshake::syn, ResetBy::server, "www.lab.example|||"}, // named by the answer
        {40306, 200, Handshake::complete, ResetBy::client, "files.lab.example|GET|SimpleHTTP/0.6|impatient"},
        {58328, 0, Handshake::none, ResetBy::nobody, "nowhere.lab.example|A||"},
    };
    for (auto& e : expected) {
        const Session& s = session_from(world, e.client_port);
        std::string texts{world.text(s.host)};
        for (auto text : {s.request, s.banner, s.agent})
            (texts += '|') += world.text(text);
        EXPECT_EQ(texts, e.texts) << e.client_port;
        EXPECT_EQ(s.http_status, e.status) << e.client_port;
        EXPECT_EQ(s.handshake, e.handshake) << e.client_port;
        EXPECT_EQ(s.reset, e.reset) << e.client_port;
    }
    const Session& web = session_from(world, 58862); // from the time stamps of the file
    EXPECT_EQ(web.server_delay, 18u);
    EXPECT_EQ(web.client_delay, 12u);
    EXPECT_EQ(web.application_delay, 4085u);
    ASSERT_EQ(world.tls_events.size(), 3u);
    EXPECT_EQ(world.tls_events[1].tls_version, 0x0303);
    ASSERT_EQ(world.netbios_events.size(), 1u);
    EXPECT_EQ(world.netbios_events[0].text, "EGEJEMEFFDEFFCFGEFFCDBCACACACA"); // FILESERVER1 and blanks
    ASSERT_EQ(world.syslog_events.size(), 1u);
    EXPECT_NE(world.syslog_events[0].text.find("disk usage \"91%\" on C:\\data"), std::string::npos);
}

// --- pcapng

// Writes blocks in the byte order of their section.
struct Blocks {
    bool big;
    std::string bytes;

    std::string number(uint64_t value, size_t size) const
    {
        std::string out(size, '\0');
        for (size_t i = 0; i < size; i++)
            out[big ? size - 1 - i : i] = static_cast<char>(value >> 8 * i);
        return out;
    }
    void add(uint32_t type, std::string body)
    {
        body.resize((body.size() + 3) / 4 * 4);
        std::string length = number(body.size() + 12, 4);
        bytes += number(type, 4) + length + body + length;
    }
    void section() { add(0x0a0d0d0a, number(0x1a2b3c4d, 4) + number(1, 2) + number(0, 2) + number(~0ULL, 8)); }
    void interface(uint16_t link, uint32_t snapshot, const std::string& options)
    {
        add(1, number(link, 2) + number(0, 2) + number(snapshot, 4) + options);
    }
    std::string option(uint16_t code, const std::string& value) const
    {
        std::string padded = value;
        padded.resize((value.size() + 3) / 4 * 4);
        return number(code, 2) + number(value.size(), 2) + padded;
    }
    void packet(uint32_t interface, uint64_t clock, const std::string& kept, uint32_t length)
    {
        add(6, number(interface, 4) + number(clock >> 32, 4) + number(clock & UINT32_MAX, 4) + number(kept.size(), 4) + number(length, 4) +
                   kept);
    }
};

// From 10.0.0.1 to 10.0.0.2, three bytes behind the header.
std::string datagram(uint16_t from)
{
    std::string out("\x45\0\0\x1f\0\1\0\0\x40\x11\0\0\x0a\0\0\1\x0a\0\0\2\0\0\x27\x0f\0\x0b\0\0abc", 31);
    out[20] = static_cast<char>(from >> 8);
    out[21] = static_cast<char>(from);
    return out;
}

// Sections of either byte order; interfaces with links, snapshot lengths and clocks of their own.
std::string blocks_of_two_sections()
{
    const std::string ethernet("\2\0\0\0\0\2\2\0\0\0\0\1\x08\0", 14);
    Blocks little{false, ""}, big{true, ""};
    little.section();
    little.interface(101, 0, "");                                                 // microseconds
    little.interface(1, 44, little.option(2, "eth0") + little.option(9, "\x09")); // nanoseconds
    little.interface(147, 0, "");                                                 // a link that is not read
    little.packet(0, 1700000001'000000ULL, datagram(1001), 31);
    little.packet(1, 1700000002'000000000ULL, (ethernet + datagram(1002)).substr(0, 44), 45);
    little.packet(2, 1700000003'000000ULL, "?", 1);
    little.add(0x4000badd, "passed over");
    little.add(3, little.number(31, 4) + datagram(1003)); // without a time: that of the packet before
    big.section();
    big.interface(101, 65535, big.option(9, "\x8a") + big.option(14, big.number(1600000000, 8)) + big.option(0, ""));
    big.packet(0, 1024ULL * 100'000'004, datagram(1004), 31); // 1024 a second, from an offset
    big.add(2, big.number(0, 2) + big.number(7, 2) + big.number(0, 4) + big.number(1024 * 5, 4) + big.number(31, 4) + big.number(31, 4) +
                   datagram(1005)); // the old kind
    return little.bytes + big.bytes;
}

TEST(LabPcapng, InterfacesHaveLinksLengthsAndClocksOfTheirOwn)
{
    World world;
    std::string error;
    ASSERT_TRUE(read_content(blocks_of_two_sections(), world, error)) << error;
    EXPECT_EQ(error, "");
    EXPECT_EQ(world.capture.packets, 6u);
    EXPECT_EQ(world.capture.unknown_link, 1u);
    std::vector<std::pair<uint16_t, uint32_t>> found;
    for (const Session& session : world.sessions)
        found.emplace_back(session.client_port, session.birth);
    EXPECT_EQ(found, (std::vector<std::pair<uint16_t, uint32_t>>{
                         {1005, 1600000005}, {1001, 1700000001}, {1002, 1700000002}, {1003, 1700000003}, {1004, 1700000004}}));
    EXPECT_EQ(session_from(world, 1002).up_bytes, 45u);
}

// Cut and damaged files: what comes before the damage counts, and the reason names the packet.
TEST(LabPcapng, DamageIsNamedAndNeverFatal)
{
    const std::string whole = blocks_of_two_sections();
    std::mt19937 random(7);
    size_t stopped = 0;
    for (size_t i = 0; i < whole.size() + 200; i++) {
        std::string part = i < whole.size() ? whole.substr(0, i) : whole;
        for (size_t hits = i < whole.size() ? 0 : 1 + random() % 4; hits > 0; hits--)
            part[4 + random() % (part.size() - 4)] = static_cast<char>(random());
        World world;
        std::string error;
        read_content(part, world, error);
        ASSERT_LE(world.capture.packets, 6u);
        stopped += error.starts_with("packet " + std::to_string(world.capture.packets + 1) + ": ") ? 1 : 0;
    }
    EXPECT_GT(stopped, whole.size() * 9 / 10);
}

TEST(LabCapture, AFileThatEndsEarlyCountsUpToThere)
{
    std::ifstream file(sample, std::ios::binary);
    std::string content(20000, '\0');
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    World world;
    std::string error;
    ASSERT_TRUE(read_content(content, world, error));
    EXPECT_FALSE(world.sessions.empty());
    EXPECT_EQ(error.substr(0, error.find(':')), "packet " + std::to_string(world.capture.packets + 1));
    EXPECT_NE(error.find("truncated dump file"), std::string::npos) << error;
}

TEST(LabCapture, UnreadableFilesAreRefusedWithAReason)
{
    for (const char* path : {"/nonexistent.pcap", VIGIL_SOURCE_DIR "/CMakeLists.txt"}) {
        World world;
        std::string error;
        EXPECT_FALSE(read_capture(path, world, error));
        EXPECT_FALSE(error.empty());
        EXPECT_TRUE(world.sessions.empty());
    }
}

// --- the rules of one TCP conversation, packet by packet

constexpr uint8_t F = tcp_flag::fin, S = tcp_flag::syn, R = tcp_flag::rst, A = tcp_flag::ack;

struct Step {
    bool from_client; // of the port 40000
    uint8_t flags;
    uint32_t sequence, acknowledgement, length;
};

std::vector<Session> follow(std::initializer_list<Step> steps)
{
    World world;
    FlowTable flows{world};
    uint64_t time = 1700000000000000;
    for (const Step& step : steps) {
        Packet packet;
        packet.time = time += 1000;
        packet.frame_length = 54 + step.length;
        packet.protocol = ip_protocol::tcp;
        packet.source = ipv4_address(step.from_client ? 0x0a000001 : 0x0a000002);
        packet.destination = ipv4_address(step.from_client ? 0x0a000002 : 0x0a000001);
        packet.source_port = step.from_client ? 40000 : 80;
        packet.destination_port = step.from_client ? 80 : 40000;
        packet.flags = step.flags;
        packet.window = 500;
        packet.sequence = step.sequence;
        packet.acknowledgement = step.acknowledgement;
        packet.payload_length = step.length;
        flows.add(packet);
    }
    flows.finish();
    return world.sessions;
}

TEST(LabFlows, ASynWithAnotherNumberBeginsASessionOfItsSender)
{
    const struct {
        const char* what;
        std::initializer_list<Step> steps;
        std::vector<uint32_t> sessions; // client port, packets up and down of each
    } cases[] = {
        {"repeated SYN", {{true, S, 100, 0, 0}, {true, S, 100, 0, 0}}, {40000, 2, 0}},
        {"new SYN", {{true, S, 100, 0, 0}, {true, S, 200, 0, 0}}, {40000, 1, 0, 40000, 1, 0}},
        {"port used again",
         {{true, S, 9, 0, 0}, {false, S | A, 7, 10, 0}, {true, F | A, 10, 8, 0}, {true, S, 900, 0, 0}, {false, R | A, 0, 901, 0}},
         {40000, 2, 1, 40000, 1, 1}},
        {"SYN after its acknowledgement", {{false, A, 70, 101, 0}, {true, S, 100, 0, 0}}, {40000, 1, 1}},
        {"SYN that was not acknowledged", {{false, A, 70, 55, 0}, {true, S, 100, 0, 0}}, {80, 1, 0, 40000, 1, 0}},
        {"answer first", {{false, S | A, 7, 10, 0}, {true, A, 10, 8, 0}}, {40000, 1, 1}},
        {"no SYN: the first is the client", {{false, A, 70, 101, 9}, {true, A, 101, 79, 0}}, {80, 1, 1}},
    };
    for (auto& c : cases) {
        std::vector<uint32_t> sessions;
        for (const Session& session : follow(c.steps))
            sessions.insert(sessions.end(), {session.client_port, session.up_packets, session.down_packets});
        EXPECT_EQ(sessions, c.sessions) << c.what;
    }
}

TEST(LabFlows, DelaysAreMeasuredBetweenTheStepsOfAConnection)
{
    Session session = follow({{true, S, 100, 0, 0},
                              {true, S, 100, 0, 0},
                              {false, S | A, 500, 101, 0},
                              {true, A, 101, 501, 0},
                              {true, A, 101, 501, 50},
                              {true, A, 151, 501, 50},
                              {false, A, 501, 201, 0},
                              {false, A, 501, 201, 80}})[0];
    EXPECT_EQ(session.handshake, Handshake::complete);
    EXPECT_EQ(session.server_delay, 2000u); // from the first SYN
    EXPECT_EQ(session.client_delay, 1000u);
    EXPECT_EQ(session.application_delay, 3000u); // first request byte to first response byte
    EXPECT_EQ(follow({{true, S, 100, 0, 0}, {false, S | A, 500, 101, 0}})[0].handshake, Handshake::ack);
    EXPECT_EQ(follow({{true, S, 100, 0, 0}, {false, R | A, 0, 101, 0}})[0].handshake, Handshake::syn);
}

TEST(LabFlows, OnlyBytesSeenBeforeAreRetransmissions)
{
    struct Segment {
        uint32_t sequence, length;
        bool repeated;
    };
    const struct {
        const char* what;
        std::vector<Segment> segments;
    } cases[] = {
        {"in order, then again", {{100, 50, false}, {150, 50, false}, {100, 50, true}, {120, 10, true}}},
        {"a gap that is filled late", {{100, 50, false}, {200, 50, false}, {150, 50, false}, {150, 50, true}}},
        {"half of it new", {{100, 50, false}, {125, 50, false}, {125, 50, true}}},
        {"two gaps, one piece over both", {{100, 10, false}, {120, 10, false}, {140, 10, false}, {105, 30, false}, {105, 30, true}}},
        {"before the first seen", {{100, 50, false}, {50, 50, false}, {50, 50, true}}},
        {"across the end of the numbers", {{0xfffffff0, 32, false}, {0, 8, true}, {16, 8, false}}},
        {"a keep-alive repeats the last byte", {{100, 50, false}, {149, 1, false}, {120, 1, true}}},
    };
    for (auto& c : cases) {
        SequenceTracker tracker;
        for (const Segment& s : c.segments)
            EXPECT_EQ(tracker.add(s.sequence, s.length), s.repeated) << c.what << ' ' << s.sequence;
    }
}

// --- damaged packets

// Every damaged packet is counted once or lands in a session; the sanitizers watch the reading.
TEST(LabCapture, DamagedPacketsAreCountedNeverFatal)
{
    std::string error;
    std::unique_ptr<FrameSource> source = open_capture_file(sample, error);
    ASSERT_TRUE(source) << error;
    std::vector<std::vector<uint8_t>> frames;
    for (Frame frame; source->next(frame) == FrameRead::frame;)
        frames.emplace_back(frame.bytes.begin(), frame.bytes.end());
    ASSERT_FALSE(frames.empty());
    std::mt19937 random(20);
    World world;
    FlowTable flows{world};
    Fragments fragments;
    size_t skipped = 0;
    constexpr size_t rounds = 100000;
    constexpr int links[] = {DLT_EN10MB, DLT_EN10MB, DLT_EN10MB, DLT_LINUX_SLL, DLT_LINUX_SLL2, DLT_RAW, DLT_NULL};
    for (size_t i = 0; i < rounds; i++) {
        std::vector<uint8_t> frame = frames[random() % frames.size()];
        const auto length = static_cast<uint32_t>(frame.size());
        for (size_t hits = random() % 6; hits > 0; hits--)
            frame[random() % std::min<size_t>(length, 120)] = static_cast<uint8_t>(random());
        if (random() % 4 == 0)
            frame.resize(random() % (length + 1));
        std::vector<uint8_t> exact(frame); // a heap block of just its size
        Packet packet;
        Fragment piece;
        packet.time = 1700000000000000 + i;
        Decoded decoded = decode_frame(links[random() % std::size(links)], exact, length, packet, piece);
        if (decoded == Decoded::fragment)
            decoded = fragments.add(piece, packet);
        if (decoded == Decoded::packet)
            flows.add(packet);
        else
            skipped++;
    }
    flows.finish();
    size_t counted = 0;
    for (const Session& session : world.sessions)
        counted += session.up_packets + session.down_packets;
    EXPECT_EQ(counted + skipped, rounds);
    EXPECT_GT(counted, rounds / 10);
    EXPECT_GT(skipped, rounds / 10);
}

TEST(LabPacket, EveryLinkLeadsToTheSamePacket)
{
    using Block = std::vector<uint8_t>;
    const Block ip = {0x45, 0, 0, 32, 0,    1,    0, 0,  64, 17, 0, 0, 10,  0,   0,   1,
                      10,   0, 0, 2,  0x9c, 0x40, 0, 53, 0,  12, 0, 0, 'a', 'b', 'c', 'd'};
    const struct {
        int link;
        uint16_t vlan;
        bool shows_mac;
        Block before;
    } cases[] = {
        {DLT_RAW, 0, false, {}},
        {DLT_IPV4, 0, false, {}},
        {DLT_NULL, 0, false, {2, 0, 0, 0}},
        {DLT_LOOP, 0, false, {0, 0, 0, 2}},
        {DLT_EN10MB, 0, true, {2, 0, 0, 0, 0, 2, 2, 0, 0, 0, 0, 1, 8, 0}},
        {DLT_EN10MB, 7, true, {2, 0, 0, 0, 0, 2, 2, 0, 0, 0, 0, 1, 0x81, 0, 0x60, 7, 8, 0}},
        {DLT_EN10MB, 9, true, {2, 0, 0, 0, 0, 2, 2, 0, 0, 0, 0, 1, 0x88, 0xa8, 0, 9, 0x81, 0, 0, 7, 8, 0}},
        {DLT_LINUX_SLL, 0, true, {0, 0, 0, 1, 0, 6, 2, 0, 0, 0, 0, 1, 0, 0, 8, 0}},
        {DLT_LINUX_SLL2, 0, true, {8, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 6, 2, 0, 0, 0, 0, 1, 0, 0}},
    };
    for (auto& c : cases) {
        Block frame = c.before;
        frame.insert(frame.end(), ip.begin(), ip.end());
        frame.resize(frame.size() + 6); // padding is no payload
        Packet packet;
        Fragment piece;
        ASSERT_EQ(decode_frame(c.link, frame, 77, packet, piece), Decoded::packet) << c.link;
        EXPECT_EQ(address_text(packet.source) + ' ' + std::to_string(packet.source_port) + '>' + address_text(packet.destination) + ' ' +
                      std::to_string(packet.destination_port) + ' ' + std::string(packet.payload.begin(), packet.payload.end()),
                  "10.0.0.1 40000>10.0.0.2 53 abcd");
        EXPECT_EQ(packet.payload_length, 4u);
        EXPECT_EQ(packet.frame_length, 77u);
        EXPECT_EQ(packet.vlan, c.vlan);
        EXPECT_EQ(packet.source_mac, c.shows_mac ? (Mac{2, 0, 0, 0, 0, 1}) : Mac{});
        for (size_t cut = 0; cut < c.before.size() + 28; cut++) { // within the headers
            Packet part;
            EXPECT_NE(decode_frame(c.link, Bytes{frame}.first(cut), 77, part, piece), Decoded::packet) << cut;
        }
    }
}

// Lengths that contradict each other, and pieces that were cut when they were captured.
TEST(LabPacket, WhatWasNotCapturedIsKnownFromTheHeaders)
{
    const std::string udp = datagram(1000);
    auto with = [](std::string bytes, std::initializer_list<std::pair<size_t, char>> changes) {
        for (auto [at, value] : changes)
            bytes[at] = value;
        return bytes;
    };
    // Next header 44, then the piece: more to come.
    const std::string ipv6 = std::string("\x60\0\0\0\0\x13\x2c\x40", 8) + std::string(15, '\0') + '\1' + std::string(15, '\0') + '\2' +
                             std::string("\x11\0\0\1\0\0\0\1", 8) + udp.substr(20);
    const struct {
        const char* what;
        std::string frame;
        uint32_t cut; // bytes that were not captured
        Decoded decoded;
        uint32_t payload_length;
    } cases[] = {
        {"UDP longer than its frame", with(udp, {{24, 2}}), 0, Decoded::packet, 3},
        {"UDP shorter than its frame", with(udp, {{25, 9}}), 0, Decoded::packet, 1},
        {"no IPv4 length", with(udp, {{3, 0}}), 3, Decoded::packet, 3},
        {"IPv4 longer than its frame", with(udp, {{2, 1}}), 0, Decoded::packet, 3},
        {"first piece", with(udp, {{6, 0x20}}), 0, Decoded::fragment, 0},
        {"first piece, cut", with(udp, {{6, 0x20}}), 2, Decoded::packet, 3},
        {"later piece, cut", with(udp, {{6, 0x20}, {7, 9}}), 2, Decoded::truncated, 0},
        {"first piece of IPv6, cut", ipv6, 2, Decoded::truncated, 0},
    };
    for (auto& c : cases) {
        std::vector<uint8_t> frame(c.frame.begin(), c.frame.end() - c.cut);
        Packet packet;
        Fragment piece;
        Fragments fragments;
        Decoded decoded = decode_frame(DLT_RAW, frame, static_cast<uint32_t>(c.frame.size()), packet, piece);
        if (decoded == Decoded::fragment)
            decoded = fragments.add(piece, packet);
        EXPECT_EQ(decoded, c.decoded) << c.what;
        EXPECT_EQ(packet.payload_length, c.payload_length) << c.what;
    }
}

} // namespace

// The lab's capture reader, held against what a standard analyser says of the same packets.
#include "lab/packets/capture.h"
#include "lab/packets/frame_reader.h"
#include "lab/packets/live_traffic.h"
#include "tests/unit/lab_packets.h"
#include "tests/unit/private_files.h"

#include <gtest/gtest.h>
#include <pcap/dlt.h>
#include <random>

namespace {

using namespace std::literals;

const std::string sample = VIGIL_SOURCE_DIR "/tests/data/sample.pcap";

bool read_content(const std::string& content, World& world, std::string& error)
{
    static PrivateFiles files;
    files.write("/capture", content);
    return read_capture(files.path + "/capture", world, error);
}

// One conversation: protocol, client, server, packets and frame bytes up, the same down.
std::string conversation(const World& world, const Session& s)
{
    std::string out = (s.protocol == 6 ? "tcp " : "udp ") + address_text(world.address(s.client)) + ' ' + std::to_string(s.client_port) +
                      ' ' + address_text(world.address(s.server));
    for (uint64_t number : {uint64_t{s.server_port}, uint64_t{s.up_packets}, s.up_bytes, uint64_t{s.down_packets}, s.down_bytes})
        out += ' ' + std::to_string(number);
    return out;
}

// What the programs said: host|request|banner|agent|status, and how the connection began and ended.
std::string said(const World& world, const Session& s)
{
    static constexpr const char *begun[] = {"", " syn", " ack", " complete"}, *ended[] = {"", " given up", " refused"};
    std::string out;
    for (TextId text : {s.host, s.request, s.banner, s.agent})
        (out += world.text(text)) += '|';
    return out + std::to_string(s.http_status) + begun[static_cast<int>(s.handshake)] + ended[static_cast<int>(s.reset)];
}

// As "tshark -q -z conv,tcp -z conv,udp" lists the file's conversations, in order of their first packets.
const std::vector<std::string> conversations = {
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
    World world;
    std::string error;
    ASSERT_TRUE(read_capture(sample, world, error)) << error;
    std::vector<std::string> found;
    std::string texts;
    for (const Session& session : world.sessions)
        if (session.protocol == 6 || session.protocol == 17) {
            found.push_back(conversation(world, session));
            texts += std::to_string(session.client_port) + ' ' + said(world, session) + '\n';
            EXPECT_TRUE(session.client_port != 58862 || session.server_delay == 18); // from the time stamps of the file
        }
    EXPECT_EQ(found, conversations);
    for (const char* text : {
             "58862 www.lab.example|GET|SimpleHTTP/0.6|curl/7.88.1|200 complete\n",
             "55876 files.lab.example|GET|SimpleHTTP/0.6|curl/7.88.1|404 complete\n",
             "51118 shop.lab.example|TLS1.3|||0 complete\n",
             "51122 old.lab.example|TLS1.2|||0 complete\n",
             "50882 files.lab.example||SSH-2.0-lab_1.0|SSH-2.0-OpenSSH-keyscan|0 complete\n",
             "50978 www.lab.example||||0 syn refused\n", // named by the answer
             "40306 files.lab.example|GET|SimpleHTTP/0.6|impatient|200 complete given up\n",
             "58328 nowhere.lab.example|A|||0\n",
         })
        EXPECT_NE(texts.find(text), std::string::npos) << text << " is not in\n" << texts;
    // Two pieces come before the one that completes the large datagram.
    EXPECT_EQ(counts_text(world.capture), "packets=221 truncated=0 malformed=0 not_ip=6 other=0 fragments=2 unknown_link=0");
    EXPECT_EQ(world.tls_events.size(), 3u);
    EXPECT_EQ(world.tls_events.at(1).tls_version, 0x0303);
    EXPECT_EQ(world.netbios_events.at(0).text, "EGEJEMEFFDEFFCFGEFFCDBCACACACA"); // FILESERVER1 and blanks
    EXPECT_NE(world.syslog_events.at(0).text.find("disk usage \"91%\" on C:\\data"), std::string::npos);
}

// A section of a pcapng file, in the byte order of its writer.
struct Section {
    bool big;
    std::string bytes = {};

    std::string n(uint64_t value, size_t size) const { return number(value, size, big); }
    static std::string padded(const std::string& text) { return text + std::string(-text.size() % 4, '\0'); }
    std::string option(uint16_t code, const std::string& value) const { return n(code, 2) + n(value.size(), 2) + padded(value); }
    void add(uint32_t type, const std::string& body)
    {
        std::string content = padded(body), length = n(content.size() + 12, 4);
        bytes += n(type, 4) + length + content + length;
    }
    void begin() { add(0x0a0d0d0a, n(0x1a2b3c4d, 4) + n(1, 2) + n(0, 2) + n(~0ULL, 8)); }
    void interface(uint16_t link, uint32_t snapshot, const std::string& more) { add(1, n(link, 2) + n(0, 2) + n(snapshot, 4) + more); }
    void packet(uint32_t interface, uint64_t clock, const std::string& kept, uint32_t length)
    {
        add(6, n(interface, 4) + n(clock >> 32, 4) + n(clock & UINT32_MAX, 4) + n(kept.size(), 4) + n(length, 4) + kept);
    }
};

std::string datagram(uint16_t from)
{
    return udp(0x0a000001, from, 0x0a000002, 9999, "abc");
}

// Sections of either byte order; interfaces with links, snapshot lengths and clocks of their own.
std::string two_sections()
{
    Section little{false}, big{true};
    little.begin();
    little.interface(101, 0, "");                                                 // microseconds
    little.interface(1, 44, little.option(2, "eth0") + little.option(9, "\x09")); // nanoseconds
    little.interface(147, 0, "");                                                 // a link that is not read
    little.packet(0, 1700000001'000000ULL, datagram(1001), 31);
    little.packet(1, 1700000002'000000000ULL, ("\2\0\0\0\0\2\2\0\0\0\0\1\x08\0"s + datagram(1002)).substr(0, 44), 45);
    little.packet(2, 1700000003'000000ULL, "?", 1);
    little.add(0x4000badd, "passed over");
    little.add(3, little.n(31, 4) + datagram(1003)); // without a time: that of the packet before
    big.begin();
    big.interface(101, 65535, big.option(9, "\x8a") + big.option(14, big.n(1600000000, 8)) + big.option(0, ""));
    big.packet(0, 1024ULL * 100'000'004, datagram(1004), 31); // 1024 a second, from an offset
    big.add(2, big.n(0, 2) + big.n(7, 2) + big.n(0, 4) + big.n(1024 * 5, 4) + big.n(31, 4) + big.n(31, 4) + datagram(1005)); // the old kind
    return little.bytes + big.bytes;
}

TEST(LabCapture, InterfacesHaveLinksLengthsAndClocksOfTheirOwn)
{
    World world;
    std::string error, sessions;
    ASSERT_TRUE(read_content(two_sections(), world, error) && error.empty()) << error;
    for (const Session& s : world.sessions)
        sessions += std::to_string(s.client_port) + ' ' + std::to_string(s.birth) + ' ' + std::to_string(s.up_bytes) + '\n';
    EXPECT_EQ(sessions, "1005 1600000005 31\n1001 1700000001 31\n1002 1700000002 45\n1003 1700000003 31\n1004 1700000004 31\n");
    EXPECT_EQ(counts_text(world.capture), "packets=6 truncated=0 malformed=0 not_ip=0 other=0 fragments=0 unknown_link=1");
}

// What comes before the end counts, and the reason names the packet.
TEST(LabCapture, AFileThatEndsEarlyCountsUpToThere)
{
    const std::string blocks = two_sections();
    for (size_t missing = 1; missing < 64; missing++) { // within the last block
        World world;
        std::string error;
        EXPECT_TRUE(read_content(blocks.substr(0, blocks.size() - missing), world, error));
        EXPECT_TRUE(error.starts_with("packet 6: ")) << missing << ' ' << error;
        EXPECT_EQ(world.sessions.size(), 4u);
    }
    World world;
    std::string error;
    ASSERT_TRUE(read_content(read_file(sample).substr(0, 20000), world, error));
    EXPECT_EQ(error.find("packet " + std::to_string(world.capture.packets + 1) + ": truncated dump file"), 0u) << error;
    EXPECT_FALSE(world.sessions.empty());
}

// Every frame is counted once, whatever is in it; the sanitizers watch the reading.
TEST(LabCapture, DamagedFramesAreNeverFatal)
{
    std::mt19937 random(20);
    LiveTraffic traffic({}, [](const Session&) {});
    for (int round = 0; round < 400; round++) {
        std::string error;
        std::unique_ptr<FrameSource> source = open_capture_file(sample, error);
        for (Frame frame; source->next(frame) == FrameRead::frame;) {
            const size_t size = random() % 4 == 0 ? 1 + random() % frame.bytes.size() : frame.bytes.size();
            std::vector<uint8_t> exact(frame.bytes.data(), frame.bytes.data() + size); // a block of just its size
            for (size_t hits = random() % 6; hits > 0; hits--)
                exact[random() % std::min<size_t>(size, 120)] = static_cast<uint8_t>(random());
            frame.bytes = exact;
            traffic.add(frame);
        }
    }
    const Traffic state = traffic.state(traffic.newest());
    uint64_t counted = state.capture.packets - state.capture.followed;
    for (const Session& session : state.sessions)
        counted += session.up_packets + session.down_packets;
    EXPECT_EQ(counted, 400u * 221);
}

// Which counter the frame goes to.
Packet read_frame(int link, const std::string& bytes, size_t captured, CaptureCounts& counts)
{
    std::vector<uint8_t> exact(bytes.begin(), bytes.begin() + static_cast<ssize_t>(captured)); // a block of just its size
    FrameReader reader;
    const Packet* packet = reader.read({1, static_cast<uint32_t>(bytes.size()), link, exact}, counts);
    return packet != nullptr ? *packet : Packet{};
}

TEST(LabCapture, EveryLinkLeadsToTheSamePacket)
{
    const std::string addresses = "\2\0\0\0\0\2\2\0\0\0\0\1"s;
    const struct {
        int link;
        uint16_t vlan;
        bool shows_mac;
        std::string before;
    } cases[] = {
        {DLT_RAW, 0, false, ""},
        {DLT_IPV4, 0, false, ""},
        {DLT_NULL, 0, false, "\2\0\0\0"s},
        {DLT_LOOP, 0, false, "\0\0\0\2"s},
        {DLT_EN10MB, 0, true, addresses + "\x08\0"s},
        {DLT_EN10MB, 7, true, addresses + "\x81\0\x60\7\x08\0"s},
        {DLT_EN10MB, 9, true, addresses + "\x88\xa8\0\x09\x81\0\0\7\x08\0"s},
        {DLT_LINUX_SLL, 0, true, "\0\0\0\1\0\6\2\0\0\0\0\1\0\0\x08\0"s},
        {DLT_LINUX_SLL2, 0, true, "\x08\0\0\0\0\0\0\1\0\1\0\6\2\0\0\0\0\1\0\0"s},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.link) + ' ' + std::to_string(c.vlan));
        const std::string frame = c.before + datagram(40000) + std::string(6, '\0'); // padding is no payload
        CaptureCounts counts;
        Packet packet = read_frame(c.link, frame, frame.size(), counts);
        EXPECT_EQ(address_text(packet.source) + ' ' + std::to_string(packet.source_port), "10.0.0.1 40000");
        EXPECT_EQ(address_text(packet.destination) + ' ' + std::to_string(packet.destination_port), "10.0.0.2 9999");
        EXPECT_EQ(packet.payload_length, 3u);
        EXPECT_EQ(packet.frame_length, frame.size());
        EXPECT_EQ(packet.vlan, c.vlan);
        EXPECT_EQ(packet.source_mac, c.shows_mac ? (Mac{2, 0, 0, 0, 0, 1}) : Mac{});
        for (size_t cut = 0; cut < c.before.size() + 28; cut++) // within the headers
            read_frame(c.link, frame, cut, counts);
        EXPECT_EQ(counts.followed, 1u);
    }
}

// Lengths that contradict each other, and pieces that were cut when they were captured.
TEST(LabCapture, WhatWasNotCapturedIsKnownFromTheHeaders)
{
    auto with = [](std::initializer_list<std::pair<size_t, char>> changes) {
        std::string bytes = datagram(1000);
        for (auto [at, value] : changes)
            bytes[at] = value;
        return bytes;
    };
    // Next header 44, then the piece: more to come.
    const std::string ipv6 = "\x60\0\0\0\0\x13\x2c\x40"s + number(1, 16) + number(2, 16) + "\x11\0\0\1\0\0\0\1"s + with({}).substr(20);
    const struct {
        const char* what;
        std::string frame;
        size_t cut; // bytes that were not captured
        uint64_t CaptureCounts::*becomes;
        uint32_t payload_length;
    } cases[] = {
        {"UDP longer than its frame", with({{24, 2}}), 0, &CaptureCounts::followed, 3},
        {"UDP shorter than its frame", with({{25, 9}}), 0, &CaptureCounts::followed, 1},
        {"no IPv4 length", with({{3, 0}}), 3, &CaptureCounts::followed, 3},
        {"IPv4 longer than its frame", with({{2, 1}}), 0, &CaptureCounts::followed, 3},
        {"cut within the options", with({{0, 0x46}}), 10, &CaptureCounts::truncated, 0},
        {"first piece", with({{6, 0x20}}), 0, &CaptureCounts::fragments, 0},
        {"first piece, cut", with({{6, 0x20}}), 2, &CaptureCounts::followed, 3},
        {"later piece, cut", with({{6, 0x20}, {7, 9}}), 2, &CaptureCounts::truncated, 0},
        {"first piece of IPv6, cut", ipv6, 2, &CaptureCounts::truncated, 0},
    };
    for (const auto& c : cases) {
        CaptureCounts counts;
        EXPECT_EQ(read_frame(DLT_RAW, c.frame, c.frame.size() - c.cut, counts).payload_length, c.payload_length) << c.what;
        EXPECT_EQ(counts.*c.becomes, 1u) << c.what;
    }
}

} // namespace

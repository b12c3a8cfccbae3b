// What the accessors make of single bytes. Where the fields lie is in every whole-program test, whose records
// are drawn by hand.
#include "wire/asset.h"
#include "wire/capture_ring.h"
#include "wire/chart.h"
#include "wire/event.h"
#include "wire/flow.h"
#include "wire/host.h"
#include "wire/ids.h"
#include "wire/malicious.h"
#include "wire/protocol_log.h"
#include "wire/reset.h"
#include "wire/session.h"
#include "wire/topology.h"
#include "wire/white_list.h"

#include <gtest/gtest.h>

namespace {

// A record whose bytes at `offset` are given, every other byte zero.
template <class Record> Record with(size_t offset, std::string_view bytes)
{
    char image[sizeof(Record)] = {};
    memcpy(image + offset, bytes.data(), bytes.size());
    Record record;
    memcpy(&record, image, sizeof record);
    return record;
}

template <class Record> Record with(size_t offset, int byte)
{
    char c = static_cast<char>(byte);
    return with<Record>(offset, std::string_view(&c, 1));
}

struct Value {
    const char* name;
    uint64_t actual, expected;
};
#define VALUE(actual, expected)                                                                              \
    {                                                                                                        \
#actual, actual, expected                                                                            \
    }

TEST(WireLayout, AccessorsTakeTheRightBits)
{
    // Low 17 bits 0x12345, next 17 bits 0x1abcd, next 18 bits 0x2f00f, the rest all ones.
    uint64_t packed = 0x12345ULL | 0x1abcdULL << 17 | 0x2f00fULL << 34 | 0xfffULL << 52;
    auto timed = with<ResetRecord>(16, {reinterpret_cast<const char*>(&packed), 8});
    // Application 0x1234, status 404 (0x194), class 5, IPv6 mark 2.
    auto reset = with<ResetRecord>(28, "\x34\x12\x65\x94");
    constexpr std::string_view ten("\x0a\x00\x00\x01", 4), six("\x01\x02\x03\x84\x05\x06", 6);
    using Session = SessionRecord;
    using Log = EventLogRecord;
    const Value values[] = {
        VALUE(timed.timing_low(), 0x12345),
        VALUE(timed.timing_middle(), 0x1abcd),
        VALUE(timed.timing_high(), 0x2f00f),
        VALUE(reset.application(), 0x1234),
        VALUE(reset.http_status(), 404),
        VALUE(reset.traffic_class(), 5),
        VALUE(with<ResetRecord>(31, 0x18).traffic_class(), 6),
        VALUE(reset.has_ipv6(), true),
        VALUE(with<ResetRecord>(31, 0x40).has_ipv6(), false),
        VALUE(with<ResetRecord>(31, 0xc0).has_ipv6(), false),

        VALUE(with<Session>(55, 0x02).flag_1(), true),
        VALUE(with<Session>(55, 0xfd).flag_1(), false),
        VALUE(with<Session>(55, 0x20).handshake(), 2),
        VALUE(with<Session>(55, 0xcf).handshake(), 0),
        VALUE(with<Session>(55, 0x40).is_ipv6(), true),
        VALUE(with<Session>(55, 0xbf).is_ipv6(), false),
        VALUE(with<FlowRecord>(55, 0x40).is_ipv6(), true),
        VALUE(with<FlowRecord>(55, 0xbf).is_ipv6(), false),
        VALUE(with<Log>(0, 0xfe).dontnotify(), 0),
        VALUE(with<Log>(0, 0xfd).effective(), 0),
        VALUE(with<Log>(0, 0xe8).alarm_level(), 2),
        VALUE(with<Log>(0, 0xf7).alarm_level(), 1),
        VALUE(static_cast<uint64_t>(with<Log>(0, 0x10).rdstat()), 1),
        VALUE(static_cast<uint64_t>(with<Log>(0, 0xef).rdstat()), 0),

        VALUE(with<ProtocolLogHead>(0, ten).source.ipv4_network(), 0x0a000001),
        VALUE(with<Session>(16, ten).destination.ipv4_host(), 0x0100000a),
        VALUE(with<Session>(24, ten).destination.word(2), 0x0100000a),
        VALUE(with<MaliciousRecord>(20, ten).indicator, 0x0a000001),
        VALUE(with<IdsSessionRecord>(10, six).destination_port, 0x0102),
        VALUE(with<HostRecord>(62, six).ports[1], 0x0102),
        VALUE(with<WhiteFlowRecord>(10, six).destination_port, 0x0201),
        VALUE(with<AssetRecord>(40, six).threats(), 0x030201),
        VALUE(with<AssetRecord>(40, six).last_threat(), 0x060584),
        VALUE(with<AssetRecord>(784, ten).value_address().ipv4_network(), 0x0a000001),
        VALUE(with<TunnelWhiteRecord>(1, ten).address(), 0x0100000a),
        VALUE(with<TunnelWhiteRecord>(0, 0x03).is_name(), true),
        VALUE(with<TunnelWhiteRecord>(0, 0xfe).is_name(), false),
    };
    for (const Value& value : values)
        EXPECT_EQ(value.actual, value.expected) << value.name;
}

TEST(WireLayout, TextsInAStringAreaEndWithinIt)
{
    auto flow = with<FlowRecord>(169, std::string_view("via\0cd", 6));
    for (const auto& [offset, text] : std::initializer_list<std::pair<uint8_t, const char*>>{
             {0, "via"}, {4, "cd"}, {6, ""}, {83, ""}, {255, ""}}) {
        flow.host_at = offset;
        EXPECT_EQ(flow.host(), text) << int{offset};
    }
    auto session = with<SessionRecord>(145 + 80, "end");
    session.text_a_at = 80;
    session.text_c_at = 82;
    EXPECT_EQ(session.text_a(), "end"); // no NUL follows within the record
    EXPECT_EQ(session.text_c(), "d");
    EXPECT_EQ(session.text_b(), "");
}

} // namespace

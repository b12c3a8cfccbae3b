// Every record against offsets written out by hand: sizes, members, and what the accessors make of single
// bytes.
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

struct Layout {
    const char* name;
    size_t actual, expected;
};

// clang-format off
#define SIZE(record, size) {#record, sizeof(record), size}
#define AT(record, member, offset) {#record "::" #member, offsetof(record, member), offset}
const Layout layouts[] = {
    SIZE(ResetRecord, 64), SIZE(ResetAddresses, 32),
    AT(ResetRecord, time, 0), AT(ResetRecord, port, 4), AT(ResetRecord, destination_port, 6),
    AT(ResetRecord, source, 8), AT(ResetRecord, destination, 12), AT(ResetRecord, timings, 16),
    AT(ResetRecord, value_24, 24), AT(ResetRecord, value_26, 26), AT(ResetRecord, bits, 28),
    AT(ResetRecord, value_32, 32), AT(ResetRecord, name, 33), AT(ResetAddresses, destination, 16),

    SIZE(SessionRecord, 228),
    AT(SessionRecord, destination, 16), AT(SessionRecord, source_port, 32),
    AT(SessionRecord, destination_port, 34), AT(SessionRecord, birth, 36), AT(SessionRecord, value_40, 40),
    AT(SessionRecord, up_bytes, 44), AT(SessionRecord, down_bytes, 48), AT(SessionRecord, flags, 55),
    AT(SessionRecord, application, 56), AT(SessionRecord, value_58, 58), AT(SessionRecord, value_60, 60),
    AT(SessionRecord, value_62, 62), AT(SessionRecord, vpaid, 63), AT(SessionRecord, protocol, 64),
    AT(SessionRecord, text_c_at, 65), AT(SessionRecord, text_a_at, 66), AT(SessionRecord, host_at, 67),
    AT(SessionRecord, client_delay, 68), AT(SessionRecord, server_delay, 72),
    AT(SessionRecord, app_delay, 76), AT(SessionRecord, value_80, 80), AT(SessionRecord, value_82, 82),
    AT(SessionRecord, up_packets, 84), AT(SessionRecord, down_packets, 88),
    AT(SessionRecord, up_rexmits, 92), AT(SessionRecord, down_rexmits, 96),
    AT(SessionRecord, host_suffix, 100), AT(SessionRecord, location, 102), AT(SessionRecord, texts, 145),
    SIZE(ThroughputRecord, 64),
    AT(ThroughputRecord, in_rate, 16), AT(ThroughputRecord, out_rate, 20),
    AT(ThroughputRecord, application, 24), AT(ThroughputRecord, is_ipv6, 26),
    AT(ThroughputRecord, description, 28),

    SIZE(FlowRecord, 252),
    AT(FlowRecord, destination, 16), AT(FlowRecord, source_port, 32), AT(FlowRecord, destination_port, 34),
    AT(FlowRecord, up_bytes, 44), AT(FlowRecord, down_bytes, 48), AT(FlowRecord, flags, 55),
    AT(FlowRecord, application, 56), AT(FlowRecord, protocol, 64), AT(FlowRecord, host_at, 67),
    AT(FlowRecord, domestic, 102), AT(FlowRecord, location.country, 103), AT(FlowRecord, location.region, 118),
    AT(FlowRecord, location.third, 136), AT(FlowRecord, location.isp, 153), AT(FlowRecord, texts, 169),

    SIZE(ProtocolLogHead, 48),
    AT(ProtocolLogHead, destination, 16), AT(ProtocolLogHead, time, 32),
    AT(ProtocolLogHead, source_port, 36), AT(ProtocolLogHead, destination_port, 38),
    AT(ProtocolLogHead, operation, 40), AT(ProtocolLogHead, is_ipv6, 41), AT(ProtocolLogHead, mac, 42),
    SIZE(SyslogRecord, 356), AT(SyslogRecord, user_a, 48), AT(SyslogRecord, user_b, 80),
    AT(SyslogRecord, message, 100),
    SIZE(SshLogRecord, 132), AT(SshLogRecord, user_b, 48), AT(SshLogRecord, user_a, 68),
    AT(SshLogRecord, banner, 100),
    SIZE(TlsLogRecord, 104), AT(TlsLogRecord, version, 48), AT(TlsLogRecord, user_b, 50),
    AT(TlsLogRecord, user_a, 72),
    SIZE(NetbiosLogRecord, 136), AT(NetbiosLogRecord, name, 48), AT(NetbiosLogRecord, user_b, 79),
    AT(NetbiosLogRecord, user_a, 104),

    SIZE(MaliciousRecord, 208),
    AT(MaliciousRecord, source, 4), AT(MaliciousRecord, destination, 8), AT(MaliciousRecord, source_port, 12),
    AT(MaliciousRecord, destination_port, 14), AT(MaliciousRecord, level, 17),
    AT(MaliciousRecord, indicator, 20), AT(MaliciousRecord, indicator_port, 24),
    AT(MaliciousRecord, indicator_name, 26), AT(MaliciousRecord, type, 86), AT(MaliciousRecord, area, 160),

    SIZE(EventRecord, 352),
    AT(EventRecord, alarm_level, 1), AT(EventRecord, id, 2), AT(EventRecord, ruleid, 4),
    AT(EventRecord, evattrid, 6), AT(EventRecord, evbirth, 8), AT(EventRecord, evdeath, 12),
    AT(EventRecord, lreport, 16), AT(EventRecord, evsn, 20), AT(EventRecord, excnt, 24),
    AT(EventRecord, obj_threshold, 28), AT(EventRecord, evtype, 32), AT(EventRecord, evopcode, 48),
    AT(EventRecord, evattr, 64), AT(EventRecord, evlimit1, 96), AT(EventRecord, evlimit2, 128),
    AT(EventRecord, fval, 160), AT(EventRecord, lval, 192), AT(EventRecord, robj, 224),
    AT(EventRecord, robj_ch, 256), AT(EventRecord, insname, 288), AT(EventRecord, insname_ch, 320),
    SIZE(EventLogRecord, 304),
    AT(EventLogRecord, evattrid, 2), AT(EventLogRecord, id, 4), AT(EventLogRecord, rid, 6),
    AT(EventLogRecord, evsn, 8), AT(EventLogRecord, rtime, 12), AT(EventLogRecord, evt_birth, 16),
    AT(EventLogRecord, evdeath, 20), AT(EventLogRecord, reportm, 24), AT(EventLogRecord, obj_threshold, 28),
    AT(EventLogRecord, evtype, 32), AT(EventLogRecord, evattr, 48), AT(EventLogRecord, failure, 80),
    AT(EventLogRecord, evopcode, 96), AT(EventLogRecord, evlimit1, 112), AT(EventLogRecord, evlimit2, 128),
    AT(EventLogRecord, fval, 144), AT(EventLogRecord, lval, 160), AT(EventLogRecord, robj, 176),
    AT(EventLogRecord, robj_ch, 208), AT(EventLogRecord, insname, 240), AT(EventLogRecord, insname_ch, 272),

    SIZE(SignatureRecord, 24), AT(SignatureRecord, birth, 4), AT(SignatureRecord, last, 8),
    AT(SignatureRecord, sid, 12), AT(SignatureRecord, total, 16),
    SIZE(IdsSessionRecord, 24), AT(IdsSessionRecord, destination, 4), AT(IdsSessionRecord, source_port, 8),
    AT(IdsSessionRecord, destination_port, 10), AT(IdsSessionRecord, birth, 12),
    AT(IdsSessionRecord, pkts0, 16), AT(IdsSessionRecord, pkts1, 18), AT(IdsSessionRecord, category, 20),
    AT(IdsSessionRecord, protocol, 21),
    SIZE(AlertRecord, 3844), AT(AlertRecord, text, 4),

    SIZE(AssetRecord, 848),
    AT(AssetRecord, pid, 2), AT(AssetRecord, id, 4), AT(AssetRecord, logical_id, 8), AT(AssetRecord, flows, 12),
    AT(AssetRecord, bytes_out, 16), AT(AssetRecord, bytes_in, 24), AT(AssetRecord, succeeded, 32),
    AT(AssetRecord, failed, 36), AT(AssetRecord, port, 46), AT(AssetRecord, pps, 68),
    AT(AssetRecord, bps_out, 72), AT(AssetRecord, bps_in, 76), AT(AssetRecord, delay_sum, 80),
    AT(AssetRecord, delay_max_1, 88), AT(AssetRecord, delay_counts, 96), AT(AssetRecord, delay_max_2, 168),
    AT(AssetRecord, name, 720), AT(AssetRecord, value, 784),
    SIZE(TopologyGroupRecord, 48), AT(TopologyGroupRecord, parent, 1), AT(TopologyGroupRecord, title, 2),

    SIZE(HostRecord, 120),
    AT(HostRecord, time, 8), AT(HostRecord, valid, 12), AT(HostRecord, name, 13), AT(HostRecord, address, 56),
    AT(HostRecord, ports, 60), AT(HostRecord, dns_count, 72), AT(HostRecord, http_count, 76),
    AT(HostRecord, sub_counts, 80), AT(HostRecord, note, 96),

    SIZE(WhiteFlowRecord, 24), AT(WhiteFlowRecord, destination, 4), AT(WhiteFlowRecord, source_port, 8),
    AT(WhiteFlowRecord, destination_port, 10), AT(WhiteFlowRecord, birth, 12),
    AT(WhiteFlowRecord, protocol, 16), AT(WhiteFlowRecord, source_mac, 18),
    SIZE(WhiteAddressRecord, 92), AT(WhiteAddressRecord, birth, 4), AT(WhiteAddressRecord, last_time, 8),
    AT(WhiteAddressRecord, flows, 12), AT(WhiteAddressRecord, description, 48),
    SIZE(TunnelWhiteRecord, 56), AT(TunnelWhiteRecord, name, 1),

    SIZE(ChartPoint, 16), AT(ChartPoint, time, 4), SIZE(ChartSeries, 80), AT(ChartSeries, label, 32),
    SIZE(ChartTables, 7920), AT(ChartTables, point_count, 4608), AT(ChartTables, series, 4616),
    AT(ChartTables, series_count, 7816),
    SIZE(CaptureRingHeader, 32), AT(CaptureRingHeader, lock, 4), AT(CaptureRingHeader, cnt, 8),
    AT(CaptureRingHeader, bs, 12), AT(CaptureRingHeader, next, 16),
    SIZE(CaptureSlot, 16), AT(CaptureSlot, length, 4), AT(CaptureSlot, writer_data, 8),
};
#undef SIZE
#undef AT
// clang-format on

TEST(WireLayout, SizesAndOffsetsAreThoseOfTheDaemons)
{
    for (const Layout& layout : layouts)
        EXPECT_EQ(layout.actual, layout.expected) << layout.name;
}

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

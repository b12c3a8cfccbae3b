// Sessions, flows, resets and throughput: what the flow reports read.
#include "lab/requests/appliance.h"
#include "lab/requests/session_filter.h"
#include "lab/requests/wire_fill.h"
#include "wire/flow.h"
#include "wire/reset.h"
#include "wire/session.h"

#include <algorithm>

namespace {

constexpr uint8_t flag_encrypted = 1 << 1, flag_ipv6 = 1 << 6;

uint8_t flags_of(const World& world, const Session& session)
{
    return static_cast<uint8_t>((session.encrypted ? flag_encrypted : 0) |
                                static_cast<unsigned>(session.handshake) << 4 |
                                (world.address(session.server).ipv6 ? flag_ipv6 : 0));
}

// Puts texts one behind the other, each with its NUL, into a string area; what no longer fits is cut.
class StringArea {
public:
    // `reserved`: bytes that later texts need at least.
    uint8_t put(std::string_view text, size_t reserved)
    {
        size_t at = used_, room = sizeof bytes_ - used_ - 1 - reserved;
        for (char c : text.substr(0, room))
            bytes_[used_++] = c == ' ' ? '_' : c; // lines are columns between blanks
        bytes_[used_++] = '\0';
        return static_cast<uint8_t>(at);
    }
    std::string_view bytes() const { return {bytes_, sizeof bytes_}; }

private:
    char bytes_[83] = {};
    size_t used_ = 0;
};

// What session and flow records have in common.
template <class Record> void put_conversation(const World& world, const Session& s, Record& r)
{
    r.source = host_order_address(world.address(s.client));
    r.destination = host_order_address(world.address(s.server));
    r.source_port = s.client_port;
    r.destination_port = s.server_port;
    r.up_bytes = capped<uint32_t>(s.up_bytes);
    r.down_bytes = capped<uint32_t>(s.down_bytes);
    r.flags = flags_of(world, s);
    r.application = s.application;
    r.protocol = s.protocol;
}

bool fill_session(const World& world, const Session& s, SessionRecord& r)
{
    put_conversation(world, s, r);
    r.birth = s.birth;
    r.value_40 = s.last;
    r.value_58 = s.vlan;
    r.value_60 = s.largest_segment;
    r.value_62 = s.hops;
    r.vpaid = s.path;
    r.client_delay = s.client_delay;
    r.server_delay = s.server_delay;
    r.app_delay = s.application_delay;
    r.value_80 = s.up_zero_windows;
    r.value_82 = s.down_zero_windows;
    r.up_packets = s.up_packets;
    r.down_packets = s.down_packets;
    r.up_rexmits = s.up_retransmissions;
    r.down_rexmits = s.down_retransmissions;
    r.host_suffix = s.host_suffix;
    put_text(r.location, location_text(world.location(s.server)));
    StringArea texts; // text B first: it has no offset of its own
    texts.put(world.text(s.banner).substr(0, 15), 3);
    r.host_at = texts.put(world.text(s.host), 2 + 14);
    r.text_a_at = texts.put(world.text(s.request), 1);
    r.text_c_at = texts.put(world.text(s.agent), 0);
    r.texts.assign(texts.bytes());
    return true;
}

bool fill_flow(const World& world, const Session& s, FlowRecord& r)
{
    const Location& location = world.location(s.server); // inbound traffic goes nowhere
    put_conversation(world, s, r);
    r.domestic = location.domestic ? 1 : 0;
    put_text(r.location.country, location.country);
    put_text(r.location.region, location.region);
    put_text(r.location.third, location.city);
    put_text(r.location.isp, location.carrier);
    StringArea texts;
    r.host_at = texts.put(world.text(s.host), 0);
    r.texts.assign(texts.bytes());
    return true;
}

// Every session that the filters let through, as one kind of record.
template <class Record, auto fill> void list_sessions(Appliance& appliance, Turn& turn, int32_t kind)
{
    SessionFilter filter;
    if (!filter.read(turn))
        return;
    const World& world = appliance.world;
    turn.records<Record>(
        world.sessions,
        [&](const Session& session, Record& record) {
            return filter.passes(world, session) && fill(world, session, record);
        },
        kind);
}

void session_list(Appliance& appliance, Turn& turn)
{
    list_sessions<SessionRecord, fill_session>(appliance, turn, 0);
}

void outbound_list(Appliance& appliance, Turn& turn)
{
    list_sessions<FlowRecord, fill_flow>(appliance, turn, 0);
}

// One module name serves two reports with records of their own: the session report asks for the dictionary
// with its first request, the flow reports never do. The cursor remembers which it was.
void flow_list(Appliance& appliance, Turn& turn)
{
    bool sessions = turn.cursor() == 0 ? turn.wants_dictionary() : (turn.cursor() & Turn::kind_bit) != 0;
    if (sessions)
        list_sessions<SessionRecord, fill_session>(appliance, turn, Turn::kind_bit);
    else
        list_sessions<FlowRecord, fill_flow>(appliance, turn, 0);
}

uint64_t hundredths(uint32_t microseconds, unsigned bits)
{
    return std::min<uint64_t>(microseconds / 10, (1U << bits) - 1); // of a millisecond
}

size_t put_reset(const World& world, const Session& s, std::span<char> out)
{
    const Address& client = world.address(s.client);
    const Address& server = world.address(s.server);
    size_t size = sizeof(ResetRecord) + (client.ipv6 ? sizeof(ResetAddresses) : 0);
    if (size > out.size())
        return 0;
    ResetRecord r{};
    r.time = s.last;
    r.port = s.client_port;
    r.destination_port = s.server_port;
    r.source = client.ipv6 ? 0 : client.ipv4();
    r.destination = client.ipv6 ? 0 : server.ipv4();
    r.timings = hundredths(s.application_delay, 17) | hundredths(s.client_delay, 17) << 17 |
                hundredths(s.server_delay, 18) << 34;
    r.value_24 = capped<uint16_t>(s.up_packets);
    r.value_26 = capped<uint16_t>(s.down_packets);
    r.bits = (s.application & 0x3fffU) | (s.http_status & 0x3ffU) << 14 |
             static_cast<uint32_t>(traffic_class(s) & 0xf) << 26 | (client.ipv6 ? 2U << 30 : 0);
    r.value_32 = static_cast<uint8_t>(s.reset);
    put_text(r.name, world.text(s.host));
    memcpy(out.data(), &r, sizeof r);
    if (client.ipv6) {
        ResetAddresses addresses{network_order_address(client), network_order_address(server)};
        memcpy(out.data() + sizeof r, &addresses, sizeof addresses);
    }
    return size;
}

void reset_list(Appliance& appliance, Turn& turn)
{
    SessionFilter filter;
    if (!filter.read(turn))
        return;
    const auto& resets = appliance.resets();
    std::span<char> area = turn.area();
    size_t at = turn.first_item(), kept = 0;
    for (; at < resets.size(); at++) {
        if (!filter.passes(appliance.world, *resets[at]))
            continue;
        size_t size = put_reset(appliance.world, *resets[at], area);
        if (size == 0)
            break; // the segment is full: the next batch begins with this one
        area = area.subspan(size);
        kept++;
    }
    turn.end_batch(kept, at, at >= resets.size() || kept == 0);
}

void throughput_list(Appliance& appliance, Turn& turn)
{
    AddressFilter address;
    int application = -1;
    if (auto text = turn.value("ip"); text && !address.read(*text))
        return turn.refuse(lab_error::invalid, "INV_IP");
    if (auto text = turn.value("app"); text && (application = application_from(*text)) < 0)
        return turn.refuse(lab_error::invalid, "INV_APP");
    const World& world = appliance.world;
    turn.records<ThroughputRecord>(appliance.throughput(), [&](const Throughput& t, ThroughputRecord& r) {
        if (!address.passes(world.address(t.endpoint)) || (application >= 0 && t.application != application))
            return false;
        r.address = network_order_address(world.address(t.endpoint));
        r.in_rate = capped<uint32_t>(t.inbound);
        r.out_rate = capped<uint32_t>(t.outbound);
        r.application = t.application;
        r.is_ipv6 = world.address(t.endpoint).ipv6 ? 1 : 0;
        put_text(r.description, world.text(world.endpoints[t.endpoint].name));
        return true;
    });
}

constexpr Route routes[] = {
    {daemon_kind::management, "obsbussflow", verb::list, session_list   },
    {daemon_kind::management, "flow",        verb::list, flow_list      },
    {daemon_kind::management, "flow2",       verb::list, outbound_list  },
    {daemon_kind::management, "tcpreset",    verb::list, reset_list     },
    {daemon_kind::management, nullptr,       99,         throughput_list},
};

} // namespace

std::span<const Route> traffic_routes()
{
    return routes;
}

#include "reports/flow/session_line.h"

#include "base/address.h"
#include "base/output.h"
#include "link/dictionary.h"

namespace {

struct Word {
    char text[16];
};

Word protocol_word(uint8_t protocol)
{
    constexpr uint8_t icmp = 1, tcp = 6, udp = 17, icmp6 = 58;
    switch (protocol) {
    case tcp:
        return {"tcp"};
    case udp:
        return {"udp"};
    case icmp:
        return {"icmp"};
    case icmp6:
        return {"icmp6"};
    default:
        Word other;
        snprintf(other.text, sizeof other.text, "unk_%d", protocol);
        return other;
    }
}

struct Endpoints {
    char text[2 * sizeof(Ipv6Text) + 2 * sizeof ":65535"];
};

Endpoints endpoints(const SessionRecord& r)
{
    Endpoints out;
    if (r.is_ipv6())
        snprintf(out.text, sizeof out.text, "%s/%d-%s/%d", ipv6_text(r.source.bytes).text, r.source_port,
                 ipv6_text(r.destination.bytes).text, r.destination_port);
    else
        snprintf(out.text, sizeof out.text, "%s:%d-%s:%d", ipv4_text(r.source.ipv4_host()).text,
                 r.source_port, ipv4_text(r.destination.ipv4_host()).text, r.destination_port);
    return out;
}

// The host name and its suffix number, each only when there is one.
struct HostWord {
    char text[sizeof(SessionRecord::texts) + sizeof "|65535"];
};

HostWord host_word(const SessionRecord& r)
{
    HostWord out;
    std::string_view host = r.host();
    if (host.empty() && r.host_suffix == 0)
        return {"NULL"};
    auto length = static_cast<int>(host.size());
    if (r.host_suffix != 0)
        snprintf(out.text, sizeof out.text, "%.*s|%d", length, host.data(), r.host_suffix);
    else
        snprintf(out.text, sizeof out.text, "%.*s", length, host.data());
    return out;
}

// A text of the record, or "NULL" when it is empty.
struct TextWord {
    char text[sizeof(SessionRecord::texts) + sizeof "NULL"];
};

TextWord text_word(std::string_view text)
{
    if (text.empty())
        return {"NULL"};
    TextWord out;
    memcpy(out.text, text.data(), text.size());
    out.text[text.size()] = '\0';
    return out;
}

double milliseconds(uint32_t microseconds)
{
    return microseconds / 1000.0;
}

} // namespace

void print_session(const SessionRecord& r, const SessionLine& line)
{
    static constexpr const char* states[] = {"NIL", "SYN", "ACK", "OK"};
    if (line.only_rexmitted && r.up_rexmits == 0 && r.down_rexmits == 0)
        return;
    const uint16_t id = r.application;
    const char* name = line.english ? application_name(id) : application_second_name(id);
    // clang-format off
    print("%u %d %s "
          "%s %s"
          " %u %u 0 %u %d %d %d %d"
          " %s %s %s %s"
          " %.2f %.2f %.2f %d %d"
          " %u/%u %u/%u"
          " %s %s %d %u\n",
          line.now - r.birth, id, name,
          protocol_word(r.protocol).text, endpoints(r).text,
          r.up_bytes, r.down_bytes, r.up_bytes + r.down_bytes, r.flag_1(), r.value_60, r.value_58, r.value_62,
          text_word(r.text_a()).text, host_word(r).text, text_word(r.text_b()).text, text_word(r.text_c()).text,
          milliseconds(r.client_delay), milliseconds(r.server_delay), milliseconds(r.app_delay), r.value_80, r.value_82,
          r.up_rexmits, r.up_packets, r.down_rexmits, r.down_packets,
          states[r.handshake()], text_word(r.location.view()).text, r.vpaid, r.value_40);
    // clang-format on
}

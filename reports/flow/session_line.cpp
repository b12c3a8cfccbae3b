#include "reports/flow/session_line.h"

#include "base/output.h"
#include "link/dictionary.h"
#include "reports/flow/address_text.h"
#include "reports/flow/piece.h"

#include <cstdio>

namespace {

Piece<sizeof "unk_255"> protocol_word(uint8_t protocol)
{
    constexpr uint8_t icmp = 1, tcp = 6, udp = 17, icmp6 = 58;
    Piece<sizeof "unk_255"> out;
    switch (protocol) {
    case tcp:
        return out.put("tcp");
    case udp:
        return out.put("udp");
    case icmp:
        return out.put("icmp");
    case icmp6:
        return out.put("icmp6");
    default:
        return out.put("unk_").put(protocol);
    }
}

Piece<2 * sizeof(Ipv6Text) + 2 * sizeof ":65535"> endpoints(const SessionRecord& r)
{
    const bool is_ipv6 = r.is_ipv6();
    const char* before_port = is_ipv6 ? "/" : ":";
    Piece<2 * sizeof(Ipv6Text) + 2 * sizeof ":65535"> out;
    out.put(address_text(is_ipv6, r.source, r.source.ipv4_host()).text)
        .put(before_port)
        .put(r.source_port)
        .put("-")
        .put(address_text(is_ipv6, r.destination, r.destination.ipv4_host()).text)
        .put(before_port)
        .put(r.destination_port);
    return out;
}

constexpr size_t text_max = sizeof(SessionRecord::texts);

// A text of the record, or "NULL" when it is empty.
Piece<text_max + 1> text_word(std::string_view text)
{
    Piece<text_max + 1> out;
    out.put(text.empty() ? "NULL" : text);
    return out;
}

// The host name and its suffix number, each only when there is one.
Piece<text_max + sizeof "|65535"> host_word(const SessionRecord& r)
{
    Piece<text_max + sizeof "|65535"> out;
    const uint16_t suffix = r.host_suffix;
    std::string_view host = r.host();
    out.put(host.empty() && suffix == 0 ? "NULL" : host);
    if (suffix != 0)
        out.put("|").put(suffix);
    return out;
}

// Milliseconds of a number of microseconds, as "%.2f" prints them. Only a last digit of 5 needs its rounding,
// which is that of the binary quotient.
Piece<sizeof "4294967.30"> delay_word(uint32_t microseconds)
{
    Piece<sizeof "4294967.30"> out;
    if (microseconds % 10 == 5) {
        snprintf(out.text, sizeof out.text, "%.2f", microseconds / 1000.0);
        return out;
    }
    out.put_hundredths(static_cast<uint32_t>((uint64_t{microseconds} + 5) / 10));
    return out;
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
          " %s %s %s %d %d"
          " %u/%u %u/%u"
          " %s %s %d %u\n",
          line.now - r.birth, id, name,
          protocol_word(r.protocol).text, endpoints(r).text,
          r.up_bytes, r.down_bytes, r.up_bytes + r.down_bytes, r.flag_1(), r.value_60, r.value_58, r.value_62,
          text_word(r.text_a()).text, host_word(r).text, text_word(r.text_b()).text, text_word(r.text_c()).text,
          delay_word(r.client_delay).text, delay_word(r.server_delay).text, delay_word(r.app_delay).text,
          r.value_80, r.value_82,
          r.up_rexmits, r.up_packets, r.down_rexmits, r.down_packets,
          states[r.handshake()], text_word(r.location.view()).text, r.vpaid, r.value_40);
    // clang-format on
}

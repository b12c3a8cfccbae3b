#include "reports/flow/session_line.h"

#include "base/address.h"
#include "base/document.h"
#include "link/dictionary.h"
#include "reports/flow/fold.h"

namespace {

struct Protocol {
    uint8_t number;
    char* put(char* at) const
    {
        constexpr uint8_t icmp = 1, tcp = 6, udp = 17, icmp6 = 58;
        switch (number) {
        case tcp:
            return put_text(at, "tcp");
        case udp:
            return put_text(at, "udp");
        case icmp:
            return put_text(at, "icmp");
        case icmp6:
            return put_text(at, "icmp6");
        default:
            return put_row(at, FORMAT("unk_{}"), number);
        }
    }
    static constexpr size_t most_bytes() { return sizeof "unk_255"; }
};

struct Endpoint {
    bool is_ipv6;
    const WireAddress& address;
    uint16_t port;
    char* put(char* at) const
    {
        return is_ipv6 ? put_row(at, FORMAT("{}/{}"), Ipv6{address.bytes}, port)
                       : put_row(at, FORMAT("{}:{}"), Ipv4{address.ipv4_host()}, port);
    }
    static constexpr size_t most_bytes() { return Ipv6::most_bytes() + sizeof "/65535"; }
};

// The host name and its suffix number, each only when there is one.
struct HostAndSuffix {
    const SessionRecord& session;
    char* put(char* at) const
    {
        const std::string_view host = session.host();
        return session.host_suffix != 0 ? put_row(at, FORMAT("{}|{}"), host, session.host_suffix)
                                        : put_text(at, or_null(host));
    }
    static constexpr size_t most_bytes() { return decltype(session.texts)::most_bytes() + sizeof "|65535"; }
};

Hundredths milliseconds(uint32_t microseconds)
{
    return {microseconds / 1000.0};
}

} // namespace

void print_session(const SessionRecord& r, const SessionLine& line)
{
    static constexpr std::string_view states[] = {"NIL", "SYN", "ACK", "OK"};
    if (line.only_rexmitted && r.up_rexmits == 0 && r.down_rexmits == 0)
        return;
    const uint16_t id = r.application;
    const char* name = line.english ? application_name(id) : application_second_name(id);
    // clang-format off
    print_line(FORMAT("{} {} {} "
                      "{} {}-{}"
                      " {} {} 0 {} {} {} {} {}"
                      " {} {} {} {}"
                      " {} {} {} {} {}"
                      " {}/{} {}/{}"
                      " {} {} {} {}"),
               line.now - r.birth, id, text_of(name),
               Protocol{r.protocol}, Endpoint{r.is_ipv6(), r.source, r.source_port},
               Endpoint{r.is_ipv6(), r.destination, r.destination_port},
               r.up_bytes, r.down_bytes, r.up_bytes + r.down_bytes, int{r.flag_1()}, r.value_60, r.value_58, r.value_62,
               or_null(r.text_a()), HostAndSuffix{r}, or_null(r.text_b()), or_null(r.text_c()),
               milliseconds(r.client_delay), milliseconds(r.server_delay), milliseconds(r.app_delay), r.value_80, r.value_82,
               r.up_rexmits, r.up_packets, r.down_rexmits, r.down_packets,
               states[r.handshake()], or_null(r.location), r.vpaid, r.value_40);
    // clang-format on
}

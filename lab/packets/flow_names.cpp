// What the payloads of a session tell about it.
#include "lab/packets/flow_table.h"

#include "lab/packets/names.h"
#include "lab/world/applications.h"
#include "lab/world/words.h"

#include <algorithm>

namespace {

constexpr size_t head_max = 16384; // bytes kept of a direction before giving up on it

bool either_port(const Packet& packet, uint16_t port)
{
    return packet.source_port == port || packet.destination_port == port;
}

bool is_dns(const Packet& packet)
{
    return either_port(packet, 53) || either_port(packet, 5353) || either_port(packet, 5355);
}

Bytes bytes_of(const std::string& text)
{
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

} // namespace

// Adds the packet's payload to its direction's head when it is the next in order, and reads the head.
void FlowTable::examine_stream(const Packet& packet, Session& session, Flow& flow, bool up)
{
    Head& head = up ? flow.up.head : flow.down.head;
    if (head.done || packet.payload.empty() || packet.has(tcp_flag::syn))
        return;
    if (!head.begun) {
        head.next = packet.sequence;
        head.begun = true;
    }
    if (packet.sequence != head.next)
        return;
    head.bytes.append(reinterpret_cast<const char*>(packet.payload.data()), packet.payload.size());
    head.next += packet.payload_length;
    heads_held_ += packet.payload.size();
    bool cut = packet.payload.size() < packet.payload_length || head.bytes.size() > head_max ||
               heads_held_ > bounds_.heads;
    Bytes message;
    Found dns = find_dns_message(bytes_of(head.bytes), is_dns(packet), message);
    if (dns == Found::yes || is_dns(packet)) // there, a piece of one tells something too
        learn_from_dns(message, session);
    bool told = up ? examine_client_head(bytes_of(head.bytes), session)
                   : examine_server_head(packet, bytes_of(head.bytes), session);
    if ((told && dns != Found::need_more) || cut) {
        head.done = true;
        heads_held_ -= head.bytes.size();
        std::string{}.swap(head.bytes);
    }
}

// Returns whether nothing more can come of this head.
bool FlowTable::examine_client_head(Bytes head, Session& session)
{
    HttpRequest http;
    TlsHello tls;
    std::string banner;
    Found found[] = {read_http_request(head, http), read_tls_client_hello(head, tls),
                     read_ssh_banner(head, banner)};
    if (found[0] == Found::yes) {
        session.request = keep(http.method);
        session.agent = keep(http.agent);
        session.host = keep(http.host);
        learn_name(session.server, std::string{name_of_host(http.host)});
    } else if (found[1] == Found::yes) {
        session.encrypted = true;
        session.request = keep(tls_version_word(tls.version));
        session.host = keep(tls.server_name);
        learn_name(session.server, tls.server_name);
    } else if (found[2] == Found::yes) {
        session.encrypted = true;
        session.agent = keep(banner);
    }
    return std::none_of(std::begin(found), std::end(found), [](Found f) { return f == Found::need_more; });
}

bool FlowTable::examine_server_head(const Packet& packet, Bytes head, Session& session)
{
    HttpResponse http;
    TlsHello tls;
    std::string banner;
    Found found[] = {read_http_response(head, http), read_tls_server_hello(head, tls),
                     read_ssh_banner(head, banner)};
    if (found[0] == Found::yes) {
        session.http_status = http.status;
        session.banner = keep(http.server);
    } else if (found[1] == Found::yes) {
        session.request = keep(tls_version_word(tls.version));
        log_event(traffic_.tls_events, packet, session, {.tls_version = tls.version});
    } else if (found[2] == Found::yes) {
        session.banner = keep(banner);
        log_event(traffic_.ssh_events, packet, session, {.text = banner});
    }
    return std::none_of(std::begin(found), std::end(found), [](Found f) { return f == Found::need_more; });
}

void FlowTable::examine_datagram(const Packet& packet, Session& session)
{
    bool is_syslog = packet.destination_port == 514;
    bool is_netbios = packet.destination_port == 137 || packet.destination_port == 138;
    NetbiosPacket netbios;
    if (is_dns(packet) || (!is_syslog && !is_netbios && is_dns_message(packet.payload)))
        learn_from_dns(packet.payload, session);
    else if (is_syslog)
        log_event(traffic_.syslog_events, packet, session, {.text = read_syslog(packet.payload)});
    else if (is_netbios && read_netbios(packet.payload, packet.destination_port, netbios))
        log_event(traffic_.netbios_events, packet, session,
                  {.operation = netbios.operation, .text = netbios.name});
}

// The name that was asked for belongs to every address of the answer, however many aliases stand between.
void FlowTable::learn_from_dns(Bytes payload, Session& session)
{
    DnsMessage message;
    if (!read_dns(payload, message))
        return;
    if (session.application == lab_application_other)
        session.application = application_named("dns");
    if (session.host == 0 && !message.question.empty()) {
        session.host = keep(message.question);
        session.request = keep(dns_type_word(message.question_type));
    }
    if (!message.is_response)
        return;
    for (const DnsAnswer& answer : message.answers)
        if (answer.has_address)
            learn_answer(answer.address, message.question.empty() ? answer.name : message.question);
}

// The text's number; 0 when there is no more room for new texts.
TextId FlowTable::keep(std::string_view text)
{
    TextId known = 0;
    if (traffic_.texts.bytes() < bounds_.texts)
        return traffic_.texts.intern(text);
    return traffic_.texts.find(text, known) ? known : TextId{0};
}

// The first name that an address is given is its name.
void FlowTable::learn_answer(const Address& address, const std::string& name)
{
    TextId text = keep(name);
    if (text == 0 || older_answered_names_.contains(address))
        return;
    answered_names_.try_emplace(address, text);
    if (answered_names_.size() <= bounds_.answered / 2)
        return;
    older_answered_names_ = std::move(answered_names_);
    answered_names_.clear();
}

void FlowTable::learn_name(uint32_t endpoint, const std::string& name)
{
    Address address;
    if (traffic_.endpoints[endpoint].name == 0 && !parse_address(name, address))
        traffic_.endpoints[endpoint].name = keep(name);
}

void FlowTable::log_event(std::vector<ProtocolEvent>& log, const Packet& packet, const Session& session,
                          ProtocolEvent event)
{
    if (log.size() == bounds_.events) {
        if (!bounds_.newest_events)
            return;
        log.erase(log.begin(), log.begin() + static_cast<ptrdiff_t>(log.size() / 2));
    }
    event.client = session.client;
    event.server = session.server;
    event.client_port = session.client_port;
    event.server_port = session.server_port;
    event.time = static_cast<uint32_t>(packet.time / 1000000);
    log.push_back(std::move(event));
}

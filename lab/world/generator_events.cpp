#include "lab/world/generator_events.h"

#include "lab/world/applications.h"

#include <algorithm>

namespace {

constexpr size_t log_most = 5000; // the newest that each log keeps

ProtocolEvent event_of(const World& world, const Session& session)
{
    ProtocolEvent event;
    event.client = session.client;
    event.server = session.server;
    event.time = session.birth;
    event.client_port = session.client_port;
    event.server_port = session.server_port;
    static constexpr const char* offices[] = {"", "sales", "research", "finance"};
    event.user_group = offices[session.client % std::size(offices)];
    event.user = world.name_of(session.client).substr(0, 18);
    return event;
}

// Fills one log, oldest event first, from the sessions of one application.
template <class Fill>
void fill_log(const World& world, uint16_t application, std::vector<ProtocolEvent>& log, Fill fill)
{
    for (size_t i = world.sessions.size(); i-- > 0 && log.size() < log_most;) {
        const Session& session = world.sessions[i];
        if (session.application != application)
            continue;
        ProtocolEvent event = event_of(world, session);
        if (fill(session, event))
            log.push_back(std::move(event));
    }
    std::reverse(log.begin(), log.end());
}

bool fill_syslog(const World& world, const Session& session, ProtocolEvent& event)
{
    static constexpr const char* messages[] = {
        "sshd[812]: Accepted publickey for backup from 10.1.0.10 port 40112",
        "sshd[812]: Failed password for invalid user admin",
        "kernel: eth0: link up, 1000 Mbps, full duplex",
        "cron[2210]: (root) CMD (\"/usr/bin/rotate --daily\")",
        "switch: port 12 state changed to \"blocking\"",
        "firewall: deny tcp C:\\temp\\rules line 40",
        "dhcpd: DHCPACK on 10.2.0.44 to pc-44",
        "monitor: disk usage 91%\r\nsecond line of the report",
    };
    event.text = world.name_of(session.client) + ' ' + messages[session.client_port % std::size(messages)];
    return true;
}

// The first 15 characters in upper case, padded with blanks, two letters a character.
std::string netbios_name(std::string_view name)
{
    std::string out;
    for (size_t i = 0; i < 15; i++) {
        char c = i < name.size() ? name[i] : ' ';
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
        out += static_cast<char>('A' + (c >> 4));
        out += static_cast<char>('A' + (c & 15));
    }
    return out;
}

bool fill_netbios(const World& world, const Session& session, ProtocolEvent& event)
{
    static constexpr uint8_t operations[] = {0, 0, 0, 5, 6, 7, 8, 2}; // one that no table names
    event.operation = operations[session.client_port % std::size(operations)];
    event.text = netbios_name(world.name_of(session.client));
    return true;
}

bool fill_tls(const World& world, const Session& session, ProtocolEvent& event)
{
    if (!session.encrypted)
        return false;
    std::string_view word = world.text(session.request); // "TLS1.0" to "TLS1.3"
    bool oldest = word == "TLS1.0" && session.client_port % 4 == 0;
    event.tls_version = oldest ? uint16_t{0x0300} : static_cast<uint16_t>(0x0301 + word.back() - '0');
    event.user = event.user.substr(0, 21);
    return true;
}

} // namespace

void generate_events(World& world)
{
    fill_log(world, application_named("syslog"), world.syslog_events,
             [&](const Session& s, ProtocolEvent& e) { return fill_syslog(world, s, e); });
    fill_log(world, application_named("ssh"), world.ssh_events, [&](const Session& s, ProtocolEvent& e) {
        e.text = world.text(s.banner);
        return s.banner != 0;
    });
    fill_log(world, application_named("https"), world.tls_events,
             [&](const Session& s, ProtocolEvent& e) { return fill_tls(world, s, e); });
    fill_log(world, application_named("netbios-ns"), world.netbios_events,
             [&](const Session& s, ProtocolEvent& e) { return fill_netbios(world, s, e); });
}

#include "lab/views/views.h"

#include "lab/world/applications.h"

#include <algorithm>

namespace {

constexpr uint16_t http = application_named("http"), https = application_named("https"),
                   dns = application_named("dns"), ssh = application_named("ssh");

// The sub-counter of a host report that a session outside DNS and HTTP belongs to.
size_t other_counter(const Session& session)
{
    return session.application == https                  ? 0
           : session.application == ssh                  ? 1
           : session.application == lab_application_icmp ? 2
                                                         : 3;
}

void note_port(HostReport& host, uint16_t port)
{
    for (uint16_t& known : host.ports) {
        if (known == 0)
            known = port;
        if (known == port)
            return;
    }
}

} // namespace

std::string location_text(const Location& location, size_t most)
{
    std::string text = location.country + location.region + location.city;
    if (!location.carrier.empty())
        text += '|' + location.carrier;
    size_t end = 0; // characters of two bytes begin above 0x80
    while (end < text.size()) {
        size_t width = static_cast<uint8_t>(text[end]) > 0x80 ? 2 : 1;
        if (end + width > most)
            break;
        end += width;
    }
    text.resize(std::min(end, text.size()));
    return text;
}

uint8_t traffic_class(const Session& session)
{
    return session.application == http ? 5 : session.application == https ? 6 : 0;
}

std::vector<const Session*> resets_of(const Traffic& traffic)
{
    std::vector<const Session*> resets;
    for (const Session& session : traffic.sessions)
        if (session.reset != ResetBy::nobody)
            resets.push_back(&session);
    return resets;
}

std::vector<Throughput> throughput_of(const Traffic& traffic)
{
    std::vector<Throughput> records;
    std::unordered_map<uint64_t, size_t> places;
    auto record = [&](uint32_t endpoint, uint16_t application) -> Throughput& {
        auto [found, added] =
            places.try_emplace(static_cast<uint64_t>(endpoint) << 16 | application, records.size());
        if (added)
            records.push_back({.endpoint = endpoint, .application = application});
        return records[found->second];
    };
    for (const Session& session : traffic.sessions) {
        Rate rate = rate_of(traffic, session);
        if (traffic.live && rate.packets == 0 && rate.up + rate.down == 0)
            continue; // nothing moves any more
        Throughput& client = record(session.client, session.application);
        client.outbound += rate.up;
        client.inbound += rate.down;
        Throughput& server = record(session.server, session.application);
        server.inbound += rate.up;
        server.outbound += rate.down;
    }
    return records;
}

std::vector<HostReport> hosts_of(const Traffic& traffic)
{
    std::vector<HostReport> hosts(traffic.endpoints.size());
    for (uint32_t i = 0; i < hosts.size(); i++)
        hosts[i].endpoint = i;
    for (const Session& session : traffic.sessions) {
        HostReport& client = hosts[session.client];
        HostReport& server = hosts[session.server];
        client.last_seen = std::max(client.last_seen, session.last);
        server.last_seen = std::max(server.last_seen, session.last);
        server.served++;
        bool refused = session.protocol == 6 && session.handshake == Handshake::syn;
        if (session.server_port != 0 && !refused)
            note_port(server, session.server_port);
        uint32_t& counter = session.application == dns    ? client.dns
                            : session.application == http ? client.http
                                                          : client.others[other_counter(session)];
        counter++;
    }
    std::erase_if(hosts, [&](const HostReport& host) {
        return traffic.address(host.endpoint).ipv6 || host.last_seen == 0;
    });
    return hosts;
}

std::vector<WhiteReport> white_addresses_of(const World& world)
{
    std::vector<WhiteReport> reports;
    std::unordered_map<uint32_t, size_t> places; // by endpoint
    for (const WhiteAddress& entry : world.white_addresses) {
        places.emplace(world.find_endpoint(entry.address), reports.size());
        reports.push_back({.entry = &entry});
    }
    for (const Session& session : world.sessions) {
        auto found = places.find(session.client);
        if (found == places.end())
            continue;
        WhiteReport& report = reports[found->second];
        report.flows++;
        report.last = std::max(report.last, session.last);
    }
    return reports;
}

std::vector<const Session*> white_flows_of(const World& world)
{
    std::vector<bool> listed(world.endpoints.size());
    for (const WhiteAddress& entry : world.white_addresses) {
        uint32_t endpoint = world.find_endpoint(entry.address);
        if (endpoint != Traffic::nowhere && !entry.address.ipv6)
            listed[endpoint] = true;
    }
    std::vector<const Session*> flows;
    for (const Session& session : world.sessions)
        if (listed[session.client])
            flows.push_back(&session);
    return flows;
}

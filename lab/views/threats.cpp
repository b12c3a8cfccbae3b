// Malicious events and signature hits, and the assets that they count against.
#include "lab/views/views.h"

#include <algorithm>

namespace {

// Which sessions touch an indicator: by the server's address, or by the name the client asked for.
class IndicatorIndex {
public:
    explicit IndicatorIndex(const World& world) : traffic_(world)
    {
        for (const Indicator& indicator : world.indicators) {
            TextId name = 0;
            if (indicator.name.empty()) {
                by_endpoint_.emplace(world.find_endpoint(indicator.address), &indicator);
            } else if (world.texts.find(indicator.name, name)) {
                by_name_.emplace(name, &indicator);
            }
        }
    }
    const Indicator* find(const Session& session) const
    {
        auto named = by_name_.find(by_name_.empty() ? session.host : traffic_.name_of_host(session.host));
        if (named != by_name_.end())
            return named->second;
        auto placed = by_endpoint_.find(session.server);
        bool hit = placed != by_endpoint_.end() &&
                   (placed->second->port == 0 || placed->second->port == session.server_port);
        return hit ? placed->second : nullptr;
    }

private:
    const Traffic& traffic_;
    std::unordered_map<uint32_t, const Indicator*> by_endpoint_;
    std::unordered_map<TextId, const Indicator*> by_name_;
};

// The assets that a session belongs to: those at its ends, and those that name its host.
class AssetIndex {
public:
    explicit AssetIndex(const World& world) : world_(world)
    {
        for (size_t i = 0; i < world.assets.size(); i++) {
            const AssetObject& asset = world.assets[i];
            TextId name = 0;
            if (asset.kind == AssetKind::text && world.texts.find(asset.text, name) && name != 0)
                by_name_.emplace(name, i);
            else if (asset.kind != AssetKind::text)
                by_endpoint_.emplace(world.find_endpoint(asset.address), i);
        }
    }
    // Calls visit(asset number, whether the asset is the serving side) for each.
    template <class Visit> void visit(const Session& session, Visit visit) const
    {
        auto serving = by_endpoint_.equal_range(session.server);
        for (auto i = serving.first; i != serving.second; ++i)
            if (uint16_t port = world_.assets[i->second].port; port == 0 || port == session.server_port)
                visit(i->second, true);
        auto asking = by_endpoint_.equal_range(session.client);
        for (auto i = asking.first; i != asking.second; ++i)
            if (world_.assets[i->second].port == 0 && session.client != session.server)
                visit(i->second, false);
        if (session.host == 0 || by_name_.empty())
            return;
        auto named = by_name_.equal_range(world_.name_of_host(session.host));
        for (auto i = named.first; i != named.second; ++i)
            visit(i->second, true);
    }

private:
    const World& world_;
    std::unordered_multimap<uint32_t, size_t> by_endpoint_;
    std::unordered_multimap<TextId, size_t> by_name_;
};

size_t delay_class(uint32_t microseconds)
{
    static constexpr uint32_t below[] = {1000, 2000, 5000, 10000, 20000, 50000, 100000, 200000, 500000};
    size_t i = 0;
    while (i < std::size(below) && microseconds >= below[i])
        i++;
    return i;
}

bool has_failed(const Session& session)
{
    bool refused = session.protocol == 6 && session.handshake != Handshake::complete;
    return refused || session.reset != ResetBy::nobody || session.http_status >= 400;
}

void count_session(const Session& session, const Rate& rate, bool serving, uint32_t threats,
                   AssetReport& report)
{
    uint64_t out = serving ? session.down_bytes : session.up_bytes;
    uint64_t in = serving ? session.up_bytes : session.down_bytes;
    report.flows++;
    (has_failed(session) ? report.failed : report.succeeded)++;
    report.packets += session.up_packets + session.down_packets;
    report.packet_rate += rate.packets;
    report.bytes_out += out;
    report.bytes_in += in;
    report.rate_out += (serving ? rate.down : rate.up) * 8;
    report.rate_in += (serving ? rate.up : rate.down) * 8;
    if (session.server_delay != 0) {
        report.delay_sum += session.server_delay;
        report.delay_samples[delay_class(session.server_delay)]++;
    }
    report.longest_server_delay = std::max(report.longest_server_delay, session.server_delay);
    report.longest_application_delay = std::max(report.longest_application_delay, session.application_delay);
    report.threats += threats;
    if (threats != 0)
        report.last_threat = std::max(report.last_threat, session.birth);
}

std::string quoted(std::string_view text)
{
    std::string out = "\"";
    for (char c : text)
        out += c == '"' || c == '\\' || c < ' ' ? '-' : c;
    return out += '"';
}

} // namespace

std::vector<MaliciousEvent> malicious_of(const World& world)
{
    IndicatorIndex index{world};
    std::vector<MaliciousEvent> events;
    for (const Session& session : world.sessions) {
        if (world.address(session.client).ipv6)
            continue; // the event records hold IPv4 addresses
        if (const Indicator* indicator = index.find(session))
            events.push_back({&session, indicator});
    }
    return events;
}

std::vector<SignatureHit> active_hits_of(const World& world)
{
    std::vector<SignatureHit> hits;
    for (const SignatureHit& hit : world.signature_hits)
        if (world.signatures[hit.signature].enabled)
            hits.push_back(hit);
    return hits;
}

std::vector<SignatureReport> signatures_of(const World& world)
{
    std::vector<SignatureReport> reports(world.signatures.size());
    for (size_t i = 0; i < reports.size(); i++)
        reports[i].signature = &world.signatures[i];
    for (const SignatureHit& hit : active_hits_of(world)) {
        SignatureReport& report = reports[hit.signature];
        uint32_t time = world.sessions[hit.session].birth;
        report.birth = report.hits == 0 ? time : std::min(report.birth, time);
        report.last = std::max(report.last, time);
        report.hits++;
    }
    std::erase_if(reports, [](const SignatureReport& report) { return report.hits == 0; });
    return reports;
}

std::string alert_text(const World& world, const SignatureHit& hit)
{
    const Session& session = world.sessions[hit.session];
    const Signature& signature = world.signatures[hit.signature];
    return "{\"time\":" + std::to_string(session.birth) + ", \"sid\":" + std::to_string(signature.sid) +
           ", \"catagore\":" + std::to_string(signature.category) + ", \"msg\":" + quoted(signature.message) +
           ", \"src\":" + quoted(address_text(world.address(session.client))) +
           ", \"sport\":" + std::to_string(session.client_port) +
           ", \"dst\":" + quoted(address_text(world.address(session.server))) +
           ", \"dport\":" + std::to_string(session.server_port) +
           ", \"proto\":" + std::to_string(session.protocol) +
           ", \"host\":" + quoted(world.text(session.host)) + "}";
}

std::vector<AssetReport> assets_of(const World& world)
{
    std::vector<AssetReport> reports(world.assets.size());
    for (size_t i = 0; i < reports.size(); i++)
        reports[i].asset = &world.assets[i];
    std::unordered_map<const Session*, uint32_t> threats;
    for (const MaliciousEvent& event : malicious_of(world))
        threats[event.session]++;
    for (const SignatureHit& hit : active_hits_of(world))
        threats[&world.sessions[hit.session]]++;
    AssetIndex index{world};
    for (const Session& session : world.sessions)
        index.visit(session, [&](size_t asset, bool serving) {
            auto found = threats.find(&session);
            count_session(session, rate_of(world, session), serving,
                          found == threats.end() ? 0 : found->second, reports[asset]);
        });
    return reports;
}

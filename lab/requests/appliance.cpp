#include "lab/requests/appliance.h"

#include "common/command_registry.h"
#include "lab/requests/user_dictionary.h"

#include <array>
#include <cstdio>

namespace {

// Raw codes go through the daemons' command registry, whose handlers get nothing but the record.
struct Current {
    Appliance* appliance;
    Turn* turn;
    uint8_t daemon;
};
Current current;

void answer_raw_code(RequestRecord& record)
{
    for (std::span<const Route> routes : all_routes())
        for (const Route& route : routes)
            if (route.module == nullptr && route.code == record.code && (route.daemons & current.daemon) != 0)
                return route.handler(*current.appliance, *current.turn);
    reject(record, "NO_CMD"); // another daemon's
}

void register_raw_codes()
{
    for (std::span<const Route> routes : all_routes())
        for (const Route& route : routes)
            if (route.module == nullptr)
                command_register(route.code, answer_raw_code);
}

} // namespace

std::span<const std::span<const Route>> all_routes()
{
    static const std::array routes = {
        traffic_routes(),     log_routes(),      event_routes(),   security_routes(), asset_routes(),
        asset_group_routes(), topology_routes(), network_routes(), table_routes(),    white_list_routes(),
        group_routes(),       capture_routes(),  chart_routes(),   system_routes(),   counter_routes()};
    return routes;
}

bool is_change(uint32_t code)
{
    switch (code) {
    case verb::disable:
    case verb::add:
    case verb::remove:
    case verb::set:
    case verb::load:
    case verb::config:
    case 121: // to a table: add, remove, clear, load
    case 122:
    case 125:
    case 249:
        return true;
    default:
        return false;
    }
}

Appliance::Appliance(Appliance& earlier, bool earlier_goes_on, const std::function<Traffic()>& traffic)
    : requests_(earlier.requests_)
{
    if (earlier_goes_on) {
        static_cast<Knowledge&>(world) = earlier.world;
    } else {
        static_cast<Knowledge&>(world) = std::move(earlier.world);
        earlier = {};
    }
    static_cast<Traffic&>(world) = traffic();
}

void Appliance::answer(uint8_t daemon, RequestRecord& record, std::span<char> segment)
{
    bool generic = record.code >= verb::first && record.code <= verb::last;
    std::string module = generic ? std::string(record.text.view()) : "raw";
    Turn turn(record, segment, user_dictionary());
    if (!turn.refused() && generic)
        answer_generic(daemon, turn);
    else if (!turn.refused())
        answer_raw(daemon, record, turn);
    turn.finish();
    if (requests_->contains(module) || requests_->size() < 1000) {
        Requests& counts = (*requests_)[module];
        (turn.refused() ? counts.refused : counts.answered)++;
    }
}

void Appliance::answer_generic(uint8_t daemon, Turn& turn)
{
    bool known = false;
    for (std::span<const Route> routes : all_routes())
        for (const Route& route : routes) {
            if (route.module == nullptr || (route.daemons & daemon) == 0 || turn.name() != route.module)
                continue;
            known = true;
            if (route.code == turn.code())
                return route.handler(*this, turn);
        }
    turn.refuse(lab_error::unknown, known ? "NO_CMD" : "NO_MODULE");
}

void Appliance::answer_raw(uint8_t daemon, RequestRecord& record, Turn& turn)
{
    static const bool registered = (register_raw_codes(), true);
    (void)registered;
    current = {this, &turn, daemon};
    command_dispatch(record);
}

const std::vector<const Session*>& Appliance::resets()
{
    return views_.resets.at(0, [&] { return resets_of(world); });
}

const std::vector<Throughput>& Appliance::throughput()
{
    return views_.throughput.at(0, [&] { return throughput_of(world); });
}

const std::vector<HostReport>& Appliance::hosts()
{
    return views_.hosts.at(0, [&] { return hosts_of(world); });
}

const std::vector<MaliciousEvent>& Appliance::malicious()
{
    return views_.malicious.at(revision_, [&] { return malicious_of(world); });
}

const std::vector<AssetReport>& Appliance::assets()
{
    return views_.assets.at(revision_, [&] { return assets_of(world); });
}

const std::vector<SignatureReport>& Appliance::signatures()
{
    return views_.signatures.at(revision_, [&] { return signatures_of(world); });
}

const std::vector<SignatureHit>& Appliance::hits()
{
    return views_.hits.at(revision_, [&] { return active_hits_of(world); });
}

const std::vector<WhiteReport>& Appliance::white_addresses()
{
    return views_.white_addresses.at(revision_, [&] { return white_addresses_of(world); });
}

const std::vector<const Session*>& Appliance::white_flows()
{
    return views_.white_flows.at(revision_, [&] { return white_flows_of(world); });
}

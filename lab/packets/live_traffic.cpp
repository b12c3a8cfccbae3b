#include "lab/packets/live_traffic.h"

#include "lab/world/geography.h"

#include <algorithm>
#include <tuple>

namespace {

constexpr uint32_t period_seconds = 10;
constexpr size_t texts_most = 24 << 20;

constexpr FlowBounds flow_bounds = {
    .heads = 4 << 20,
    .texts = texts_most,
    .gaps = 1 << 18,
    .answered = 1 << 16,
    .events = 4096,
    .newest_events = true,
};

} // namespace

void LiveTraffic::Recent::add(uint64_t packet_period, bool is_up, uint32_t bytes)
{
    if (packet_period > period) {
        bool follows = packet_period == period + 1;
        for (uint64_t(*counter)[2] : {&up, &down, &packets}) {
            (*counter)[1] = follows ? (*counter)[0] : 0;
            (*counter)[0] = 0;
        }
        period = packet_period;
    }
    (is_up ? up : down)[0] += bytes;
    packets[0]++;
}

Rate LiveTraffic::Recent::rate(uint32_t now) const
{
    uint64_t passed = now / period_seconds, seconds = period_seconds + now % period_seconds;
    if (passed > period + 1)
        return {};
    bool of_both = passed <= period;
    auto sum = [&](const uint64_t(&counter)[2]) { return counter[0] + (of_both ? counter[1] : 0); };
    return {sum(up) / seconds, sum(down) / seconds, sum(packets) / seconds};
}

LiveTraffic::LiveTraffic(const LiveBounds& bounds, std::function<void(const Session&)> dropped)
    : bounds_(bounds), tell_dropped_(std::move(dropped)), flows_(traffic_, flow_bounds)
{
    traffic_.locations = known_locations();
}

void LiveTraffic::add(const Frame& frame)
{
    changes_++;
    newest_ = std::max(newest_, static_cast<uint32_t>(frame.time / 1'000'000));
    const Packet* packet = reader_.read(frame, traffic_.capture);
    if (packet == nullptr)
        return;
    auto [session, up] = flows_.add(*packet);
    if (session >= places_.size())
        places_.resize(session + 1);
    if (order_.touch(session, flows_.has_ended(session)))
        places_[session] = {.number = begun_++, .recent = {}};
    places_[session].recent.add(frame.time / 1'000'000 / period_seconds, up, packet->frame_length);
    make_room();
}

void LiveTraffic::drop(uint32_t session, uint64_t DroppedCounts::*reason)
{
    const Session& one = traffic_.sessions[session];
    tell_dropped_(one);
    dropped_.sessions++;
    dropped_.bytes += one.up_bytes + one.down_bytes;
    dropped_.packets += uint64_t{one.up_packets} + one.down_packets;
    dropped_.*reason += 1;
    order_.remove(session);
    flows_.remove(session);
    changes_++;
}

// Drops a session when there is one too many, and now and then what only dropped sessions needed.
void LiveTraffic::make_room()
{
    if (order_.size() > bounds_.sessions) {
        uint32_t ended = order_.oldest(true);
        if (ended != DropOrder::none)
            drop(ended, &DroppedCounts::ended);
        else
            drop(order_.oldest(false), &DroppedCounts::silent);
    }
    uint64_t since = begun_ - begun_at_last_sweep_;
    bool texts_are_short = traffic_.texts.bytes() > texts_most && since > bounds_.sessions / 16;
    if (since <= bounds_.sessions / 2 + 1000 && !texts_are_short)
        return;
    flows_.forget_unused();
    begun_at_last_sweep_ = begun_;
}

void LiveTraffic::advance(uint32_t now)
{
    for (bool ended : {true, false})
        for (uint32_t session; (session = order_.oldest(ended)) != DropOrder::none;) {
            if (uint64_t{traffic_.sessions[session].last} + bounds_.age >= now)
                break;
            drop(session, &DroppedCounts::aged);
        }
}

// By birth; those of one second in the order in which they came.
std::vector<uint32_t> LiveTraffic::in_order() const
{
    std::vector<uint32_t> sessions;
    sessions.reserve(order_.size());
    for (uint32_t i = 0; i < places_.size(); i++)
        if (order_.has(i))
            sessions.push_back(i);
    auto rank = [&](uint32_t i) { return std::tuple{traffic_.sessions[i].birth, places_[i].number}; };
    std::ranges::sort(sessions, {}, rank);
    return sessions;
}

Traffic LiveTraffic::state(uint32_t now)
{
    flows_.name_endpoints();
    std::vector<Session> places = std::move(traffic_.sessions); // not copied as they stand
    Traffic state = traffic_;
    traffic_.sessions = std::move(places);
    state.now = now;
    for (Endpoint& endpoint : state.endpoints)
        endpoint.location = location_of(endpoint.address);
    LiveDetails& live = state.live.emplace();
    live.dropped = dropped_;
    std::vector<uint32_t> sessions = in_order();
    state.sessions.reserve(sessions.size());
    live.rates.reserve(sessions.size());
    live.numbers.reserve(sessions.size());
    for (uint32_t i : sessions) {
        Session& session = state.sessions.emplace_back(traffic_.sessions[i]);
        if (session.host == 0)
            session.host = state.endpoints[session.server].name;
        live.rates.push_back(places_[i].recent.rate(now));
        live.numbers.push_back(places_[i].number);
    }
    return state;
}

// Malicious indicators and intrusion detection.
#include "lab/requests/appliance.h"
#include "lab/requests/listing.h"
#include "lab/requests/session_filter.h"
#include "lab/requests/settings.h"
#include "lab/requests/wire_fill.h"
#include "wire/ids.h"
#include "wire/malicious.h"

namespace {

// ---- Malicious activity ----

// The peer of the own network: the server, unless only the client's place is known.
const Location& peer_location(const World& world, const Session& session)
{
    const Location& server = world.location(session.server);
    return server.country.empty() ? world.location(session.client) : server;
}

bool fill_malicious(const World& world, const MaliciousEvent& event, MaliciousRecord& r)
{
    const Session& session = *event.session;
    r.time = session.birth;
    r.source = world.address(session.client).ipv4();
    r.destination = world.address(session.server).ipv4();
    r.source_port = session.client_port;
    r.destination_port = session.server_port;
    r.level = event.indicator->level;
    r.indicator = event.indicator->name.empty() ? event.indicator->address.ipv4() : 0;
    r.indicator_port = event.indicator->port;
    put_text(r.indicator_name, event.indicator->name);
    put_text(r.type, event.indicator->type);
    put_text(r.area, location_text(peer_location(world, session), r.area.width - 1));
    return true;
}

// The report makes one exchange, so the newest come first: what no longer fits is the oldest.
void malicious_get(Appliance& appliance, Turn& turn)
{
    SessionFilter filter;
    if (!filter.read(turn))
        return;
    const World& world = appliance.world;
    uint32_t level = turn.number("level");
    std::string type = turn.free_text("type", 73);
    std::vector<const MaliciousEvent*> events;
    for (const MaliciousEvent& event : appliance.malicious())
        events.push_back(&event);
    std::ranges::stable_sort(events, std::ranges::greater{},
                             [](const MaliciousEvent* event) { return event->session->birth; });
    turn.records<MaliciousRecord>(events, [&](const MaliciousEvent* event, MaliciousRecord& r) {
        if ((level != 0 && event->indicator->level != level) ||
            (!type.empty() && event->indicator->type != type))
            return false;
        return !world.address(event->session->client).ipv6 && filter.passes(world, *event->session) &&
               fill_malicious(world, *event, r);
    });
}

struct [[gnu::packed]] IndicatorAddress {
    be32 address;
};

void indicator_list(Appliance& appliance, Turn& turn)
{
    AddressFilter address;
    if (auto text = turn.value("ip"); text && !address.read(*text))
        return turn.refuse(lab_error::invalid, "INV_IP");
    uint32_t level = turn.number("level");
    turn.records<IndicatorAddress>(appliance.world.indicators,
                                   [&](const Indicator& one, IndicatorAddress& r) {
                                       if (!one.name.empty() || one.address.ipv6 ||
                                           !address.passes(one.address) || (level != 0 && one.level != level))
                                           return false;
                                       r.address = one.address.ipv4();
                                       return true;
                                   });
}

// ---- Intrusion detection ----

// cata_id= and sid=; 0 or missing: any.
struct SignatureFilter {
    uint32_t category, sid;

    explicit SignatureFilter(const Turn& turn) : category(turn.number("cata_id")), sid(turn.number("sid")) {}
    bool passes(const Signature& signature) const
    {
        return (category == 0 || signature.category == category) && (sid == 0 || signature.sid == sid);
    }
};

bool fill_ids_session(const World& world, const SignatureHit& hit, IdsSessionRecord& r)
{
    const Session& session = world.sessions[hit.session];
    r.source = world.address(session.client).ipv4();
    r.destination = world.address(session.server).ipv4();
    r.source_port = session.client_port;
    r.destination_port = session.server_port;
    r.birth = session.birth;
    r.pkts0 = capped<uint16_t>(session.up_packets);
    r.pkts1 = capped<uint16_t>(session.down_packets);
    r.category = world.signatures[hit.signature].category;
    r.protocol = session.protocol;
    return true;
}

// keyword= is for the daemon here: a part of the signature's message.
void ids_sessions(Appliance& appliance, Turn& turn)
{
    SessionFilter sessions;
    if (!sessions.read(turn))
        return;
    SignatureFilter filter(turn);
    std::string keyword = turn.free_text("keyword", 255);
    const World& world = appliance.world;
    turn.records<IdsSessionRecord>(appliance.hits(), [&](const SignatureHit& hit, IdsSessionRecord& r) {
        const Session& session = world.sessions[hit.session];
        const Signature& signature = world.signatures[hit.signature];
        if (world.address(session.client).ipv6 || !filter.passes(signature) ||
            !sessions.passes(world, session))
            return false;
        return signature.message.find(keyword) != std::string::npos && fill_ids_session(world, hit, r);
    });
}

void ids_summary(Appliance& appliance, Turn& turn)
{
    if (turn.number("show_session") != 0)
        return ids_sessions(appliance, turn);
    SignatureFilter filter(turn);
    turn.records<SignatureRecord>(appliance.signatures(),
                                  [&](const SignatureReport& one, SignatureRecord& r) {
                                      if (!filter.passes(*one.signature))
                                          return false;
                                      r.category = one.signature->category;
                                      r.birth = one.birth;
                                      r.last = one.last;
                                      r.sid = one.signature->sid;
                                      r.total = one.hits;
                                      return true;
                                  });
}

void ids_stat(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    auto enabled = std::ranges::count_if(world.signatures, &Signature::enabled);
    turn.say("signatures=%zu enabled=%zd hits=%zu\n", world.signatures.size(), static_cast<ssize_t>(enabled),
             appliance.hits().size());
}

// Forgets the hits of a signature, or of a whole category with sid=0.
void ids_remove(Appliance& appliance, Turn& turn)
{
    World& world = appliance.world;
    SignatureFilter filter(turn);
    if (!turn.has("cata_id") && !turn.has("sid"))
        return turn.refuse(lab_error::invalid, "NO_ARGUMENT");
    size_t removed = std::erase_if(world.signature_hits, [&](const SignatureHit& hit) {
        return filter.passes(world.signatures[hit.signature]);
    });
    if (removed == 0)
        return turn.refuse(lab_error::unknown, "NOT_FOUND");
    for (Signature& signature : world.signatures)
        if (filter.passes(signature))
            signature.forgotten = world.now;
    appliance.changed();
}

void ids_config(Appliance& appliance, Turn& turn)
{
    SignatureFilter filter(turn);
    if (!turn.has("cata_id") || !turn.has("cata_enable"))
        return turn.refuse(lab_error::invalid, "NO_ARGUMENT");
    unsigned changed = 0;
    for (Signature& signature : appliance.world.signatures)
        if (filter.passes(signature)) {
            signature.enabled = turn.number("cata_enable") != 0;
            changed++;
        }
    if (changed == 0)
        return turn.refuse(lab_error::unknown, "NOT_FOUND");
    appliance.changed();
}

void alert_list(Appliance& appliance, Turn& turn)
{
    SessionFilter sessions;
    if (!sessions.read(turn))
        return;
    SignatureFilter filter(turn);
    const World& world = appliance.world;
    turn.records<AlertRecord>(appliance.hits(), [&](const SignatureHit& hit, AlertRecord& r) {
        const Session& session = world.sessions[hit.session];
        if (!filter.passes(world.signatures[hit.signature]) || !sessions.passes(world, session))
            return false;
        r.time = session.birth;
        put_text(r.text, alert_text(world, hit));
        return true;
    });
}

constexpr Route routes[] = {
    {daemon_kind::management, "malc",      verb::get,    malicious_get },
    {daemon_kind::management, "malcip",    verb::list,   indicator_list},
    {daemon_kind::management, "idssum",    verb::list,   ids_summary   },
    {daemon_kind::management, "idssum",    verb::stat,   ids_stat      },
    {daemon_kind::management, "idssum",    verb::remove, ids_remove    },
    {daemon_kind::management, "idssum",    verb::config, ids_config    },
    {daemon_kind::management, "kesidslog", verb::list,   alert_list    },
};

} // namespace

std::span<const Route> security_routes()
{
    return routes;
}

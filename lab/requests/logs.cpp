// The four logs of clear-text protocol events.
#include "lab/requests/appliance.h"
#include "lab/requests/session_filter.h"
#include "lab/requests/settings.h"
#include "lab/requests/wire_fill.h"
#include "wire/protocol_log.h"

#include <algorithm>

namespace {

using Events = std::vector<ProtocolEvent>;

void fill_head(const World& world, const ProtocolEvent& event, ProtocolLogHead& head)
{
    head.source = network_order_address(world.address(event.client));
    head.destination = network_order_address(world.address(event.server));
    head.time = event.time;
    head.source_port = event.client_port;
    head.destination_port = event.server_port;
    head.operation = event.operation;
    head.is_ipv6 = world.address(event.client).ipv6 ? 1 : 0;
    memcpy(head.mac, world.endpoints[event.client].mac.data(), sizeof head.mac);
}

// What is particular to a record.
void fill_rest(const ProtocolEvent& event, SyslogRecord& r)
{
    put_text(r.message, event.text);
}
void fill_rest(const ProtocolEvent& event, SshLogRecord& r)
{
    put_text(r.banner, event.text);
}
void fill_rest(const ProtocolEvent& event, TlsLogRecord& r)
{
    r.version = event.tls_version;
}
void fill_rest(const ProtocolEvent& event, NetbiosLogRecord& r)
{
    put_text(r.name, event.text);
}

// The settings of a log: enable=0 shows nothing, since=T nothing before that time, max=N the newest N only
// (clear=1 sets since to the world's now).
struct LogRange {
    uint32_t since = 0;
    size_t newest = SIZE_MAX;
};

LogRange range_of(const World& world, const std::string& module)
{
    LogRange range;
    range.since = setting(world, module, "since", 0);
    if (uint32_t most = setting(world, module, "max", 0); most != 0)
        range.newest = most;
    if (setting(world, module, "enable", 1) == 0)
        range.newest = 0;
    return range;
}

// The events that the log shows, in order of arrival.
std::vector<const ProtocolEvent*> shown(const World& world, const std::string& module, const Events& events)
{
    LogRange range = range_of(world, module);
    std::vector<const ProtocolEvent*> kept;
    for (auto event = events.rbegin(); event != events.rend() && kept.size() < range.newest; ++event)
        if (event->time >= range.since)
            kept.push_back(&*event);
    std::ranges::reverse(kept);
    return kept;
}

template <class Record> void list_events(Appliance& appliance, Turn& turn, const Events& events)
{
    const World& world = appliance.world;
    AddressFilter either, source, destination;
    for (auto [key, filter] : {
             std::pair{"ip",  &either     },
             {"src", &source     },
             {"dst", &destination}
    })
        if (auto text = turn.value(key); text && !filter->read(*text))
            return turn.refuse(lab_error::invalid, "INV_IP");
    uint32_t start = turn.number("start"), end = turn.number("end", UINT32_MAX);
    turn.records<Record>(shown(world, turn.name(), events), [&](const ProtocolEvent* event, Record& r) {
        const Address& client = world.address(event->client);
        const Address& server = world.address(event->server);
        if (event->time < start || event->time > end || !source.passes(client) ||
            !destination.passes(server) || (!either.passes(client) && !either.passes(server)))
            return false;
        fill_head(world, *event, r.head);
        put_text(r.user_a, event->user_group);
        put_text(r.user_b, event->user);
        fill_rest(*event, r);
        return true;
    });
}

template <class Record, Events Traffic::*events> void log_list(Appliance& appliance, Turn& turn)
{
    list_events<Record>(appliance, turn, appliance.world.*events);
}

template <Events Traffic::*events> void log_stat(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    turn.say("total=%zu shown=%zu", (world.*events).size(), shown(world, turn.name(), world.*events).size());
    say_settings(world, turn, turn.name());
    turn.say("\n");
}

void log_config(Appliance& appliance, Turn& turn)
{
    if (!change_settings(appliance, turn, turn.name(), {"enable", "max", "since", "clear"}))
        return;
    auto& settings = appliance.world.settings[turn.name()];
    if (settings.contains("clear") && settings["clear"] != "0")
        settings["since"] = std::to_string(appliance.world.now + 1);
    settings.erase("clear");
}

constexpr RequestHandler* list_syslog = log_list<SyslogRecord, &Traffic::syslog_events>;
constexpr RequestHandler* list_ssh = log_list<SshLogRecord, &Traffic::ssh_events>;
constexpr RequestHandler* list_tls = log_list<TlsLogRecord, &Traffic::tls_events>;
constexpr RequestHandler* list_netbios = log_list<NetbiosLogRecord, &Traffic::netbios_events>;

constexpr Route routes[] = {
    {daemon_kind::management, "obssyslog",  verb::list,   list_syslog                       },
    {daemon_kind::management, "obssyslog",  verb::stat,   log_stat<&Traffic::syslog_events> },
    {daemon_kind::management, "obssyslog",  verb::config, log_config                        },
    {daemon_kind::management, "obssshlog",  verb::list,   list_ssh                          },
    {daemon_kind::management, "obssshlog",  verb::stat,   log_stat<&Traffic::ssh_events>    },
    {daemon_kind::management, "obssshlog",  verb::config, log_config                        },
    {daemon_kind::management, "obstlslog",  verb::list,   list_tls                          },
    {daemon_kind::management, "obstlslog",  verb::stat,   log_stat<&Traffic::tls_events>    },
    {daemon_kind::management, "obstlslog",  verb::config, log_config                        },
    {daemon_kind::management, "obsnetbios", verb::list,   list_netbios                      },
    {daemon_kind::management, "obsnetbios", verb::stat,   log_stat<&Traffic::netbios_events>},
    {daemon_kind::management, "obsnetbios", verb::config, log_config                        },
};

} // namespace

std::span<const Route> log_routes()
{
    return routes;
}

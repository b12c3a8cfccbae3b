// Reports that are a line of counters, and the rules of reassembly.
#include "lab/dictionary/applications.h"
#include "lab/requests/appliance.h"
#include "lab/requests/listing.h"
#include "lab/requests/settings.h"
#include "lab/views/totals.h"

#include <set>

namespace {

// Round trips on the client's and the server's side of the appliance.
void segment_delay_stat(Appliance& appliance, Turn& turn)
{
    uint64_t client = 0, server = 0, samples = 0;
    for (const Session& session : appliance.world.sessions)
        if (session.client_delay != 0 || session.server_delay != 0) {
            client += session.client_delay;
            server += session.server_delay;
            samples++;
        }
    uint64_t divisor = samples != 0 ? samples : 1;
    turn.say("sessions=%lu client_us=%lu server_us=%lu", samples, client / divisor, server / divisor);
    say_settings(appliance.world, turn, turn.name());
    turn.say("\n");
}

void take_settings(Appliance& appliance, Turn& turn)
{
    change_settings(appliance, turn, turn.name());
}

void tunnel_stat(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    uint64_t encrypted = 0;
    for (const Session& session : world.sessions)
        encrypted += session.encrypted ? 1 : 0;
    turn.say("sessions=%zu encrypted=%lu exempt=%zu\n", world.sessions.size(), encrypted,
             world.tunnel_white_list.size());
}

void name_tunnel_stat(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    std::set<TextId> names;
    uint64_t queries = 0;
    for (const Session& session : world.sessions)
        if (session.server_port == 53) {
            queries++;
            names.insert(session.host);
        }
    turn.say("queries=%lu names=%zu exempt=%zu\n", queries, names.size(), world.dns_tunnel_white_list.size());
}

// Applications that were seen, with their share of the sessions.
void level_list(Appliance& appliance, Turn& turn)
{
    std::map<uint16_t, unsigned> counts;
    for (const Session& session : appliance.world.sessions)
        counts[session.application]++;
    for (const LabApplication& application : lab_applications)
        if (counts.contains(application.id))
            turn.say("%u %s %u\n", application.id, application.name, counts[application.id]);
}

constexpr uint16_t database_port = 3306;

void database_list(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    say_page(
        turn, world.sessions, [](const Session& session) { return session.server_port == database_port; },
        [&](const Session& session) {
            turn.say("%u %s %s %lu\n", session.birth, world.name_of(session.client).c_str(),
                     world.name_of(session.server).c_str(), session.up_bytes + session.down_bytes);
        });
}

void database_stat(Appliance& appliance, Turn& turn)
{
    Totals totals;
    for (const Session& session : appliance.world.sessions)
        if (session.server_port == database_port)
            totals.count(session);
    turn.say("sessions=%lu bytes=%lu packets=%lu", totals.sessions, totals.bytes, totals.packets);
    say_settings(appliance.world, turn, turn.name());
    turn.say("\n");
}

// ---- Reassembly: rules that operators keep, and the settings of its log ----

constexpr char reassembly[] = "obsreasspkt";

void rule_add(Appliance& appliance, Turn& turn)
{
    task_add(appliance, turn, reassembly);
}
void rule_set(Appliance& appliance, Turn& turn)
{
    task_change(appliance, turn, reassembly);
}
void rule_remove(Appliance& appliance, Turn& turn)
{
    task_remove(appliance, turn, reassembly);
}
void rule_get(Appliance& appliance, Turn& turn)
{
    task_list(appliance, turn, reassembly);
}

void rule_disable(Appliance& appliance, Turn& turn)
{
    Task* task = item_asked_for(turn, appliance.world.tasks[reassembly]);
    if (task != nullptr)
        task->values["enable"].assign(1, '0');
}

void rule_stat(Appliance& appliance, Turn& turn)
{
    const auto& rules = appliance.world.tasks[reassembly];
    auto disabled = std::ranges::count_if(rules, [](const Task& rule) {
        auto enable = rule.values.find("enable");
        return enable != rule.values.end() && enable->second == "0";
    });
    turn.say("rules=%zu disabled=%zd\n", rules.size(), static_cast<ssize_t>(disabled));
}

// Files that HTTP answers carried: what reassembly would have to work on.
void file_stat(Appliance& appliance, Turn& turn)
{
    Totals totals;
    for (const Session& session : appliance.world.sessions)
        if (session.http_status / 100 == 2)
            totals.count(session);
    turn.say("files=%lu bytes=%lu", totals.sessions, totals.bytes);
    say_settings(appliance.world, turn, turn.name());
    turn.say("\n");
}

// Forgets the settings that its words name, or all with all=1.
void file_remove(Appliance& appliance, Turn& turn)
{
    auto& settings = appliance.world.settings[turn.name()];
    if (turn.values().empty())
        return turn.refuse(lab_error::invalid, "NO_ARGUMENT");
    for (const auto& [key, value] : turn.values())
        settings.erase(key);
    if (turn.number("all") != 0)
        settings.clear();
}

constexpr uint8_t management = daemon_kind::management, analysis = daemon_kind::analysis;

constexpr Route routes[] = {
    {analysis | management, "obssegdelay", verb::stat,    segment_delay_stat},
    {analysis | management, "obssegdelay", verb::set,     take_settings     },
    {analysis,              "condtunnel",  verb::stat,    tunnel_stat       },
    {analysis,              "applevel",    verb::list,    level_list        },
    {management,            "dnstuncheck", verb::stat,    name_tunnel_stat  },
    {management,            "mysqlrd",     verb::list,    database_list     },
    {management,            "mysqlrd",     verb::stat,    database_stat     },
    {management,            "mysqlrd",     verb::config,  take_settings     },
    {management,            reassembly,    verb::add,     rule_add          },
    {management,            reassembly,    verb::set,     rule_set          },
    {management,            reassembly,    verb::remove,  rule_remove       },
    {management,            reassembly,    verb::get,     rule_get          },
    {management,            reassembly,    verb::debug,   rule_get          },
    {management,            reassembly,    verb::disable, rule_disable      },
    {management,            reassembly,    verb::stat,    rule_stat         },
    {management,            "obsreasslog", verb::stat,    file_stat         },
    {management,            "obsreasslog", verb::config,  take_settings     },
    {management,            "obsreasslog", verb::remove,  file_remove       },
};

} // namespace

std::span<const Route> counter_routes()
{
    return routes;
}

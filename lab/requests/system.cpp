// The daemons about themselves: modules, keys, workers, disk, and the reports that are one line of counters.
#include "lab/dictionary/applications.h"
#include "lab/packets/capture.h"
#include "lab/requests/appliance.h"
#include "lab/requests/listing.h"
#include "lab/requests/settings.h"
#include "lab/views/totals.h"
#include "link/places.h"

#include <array>
#include <set>
#include <sys/statvfs.h>

namespace {

// ---- Modules ----

std::map<std::string, std::set<uint32_t>> modules_of(uint8_t daemon)
{
    std::map<std::string, std::set<uint32_t>> modules;
    for (std::span<const Route> routes : all_routes())
        for (const Route& route : routes)
            if ((route.daemons & daemon) != 0 && route.module != nullptr)
                modules[route.module].insert(route.code);
    return modules;
}

const char* verb_name(uint32_t code)
{
    static constexpr struct {
        uint32_t code;
        const char* name;
    } names[] = {
        {verb::disable, "disable"},
        {verb::stat,    "stat"   },
        {verb::add,     "add"    },
        {verb::remove,  "remove" },
        {verb::set,     "set"    },
        {verb::get,     "get"    },
        {verb::list,    "list"   },
        {verb::load,    "load"   },
        {verb::config,  "config" },
        {verb::debug,   "debug"  },
        {verb::dump,    "dump"   },
    };
    for (const auto& one : names)
        if (one.code == code)
            return one.name;
    return "unknown";
}

void module_list(Appliance&, Turn& turn)
{
    for (const auto& [module, codes] : modules_of(daemon_kind::analysis)) {
        turn.say("%s", module.c_str());
        for (uint32_t code : codes)
            turn.say(" %s", verb_name(code));
        turn.say("\n");
    }
}

void module_stat(Appliance& appliance, Turn& turn)
{
    turn.say("modules=%zu\n", modules_of(daemon_kind::analysis).size());
    for (const auto& [module, counts] : appliance.requests())
        turn.say("%s answered=%lu refused=%lu\n", module.c_str(), counts.answered, counts.refused);
}

// The tables that the daemons keep, and how full they are.
void key_tables(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    turn.say("sessions %zu\naddresses %zu\nlocations %zu\ntexts %zu\n", world.sessions.size(),
             world.endpoints.size(), world.locations.size(), world.texts.size());
    turn.say("indicators %zu\nsignatures %zu\nevents %zu\nassets %zu\n", world.indicators.size(),
             world.signatures.size(), world.event_log.size(), world.assets.size());
    turn.say("iptables %zu\ndnsgroups %zu\n", world.ip_tables.size(), world.dns_groups.size());
}

// ---- What was seen ----

void say_totals(Turn& turn, const char* name, const Totals& totals)
{
    turn.say("%s sessions=%lu bytes=%lu packets=%lu\n", name, totals.sessions, totals.bytes, totals.packets);
}

// What a live world had to let go, and how its frames come.
void say_live(Turn& turn, const LiveDetails& live)
{
    static constexpr const char* inputs[] = {"open", "ended", "failed"};
    const DroppedCounts& dropped = live.dropped;
    say_totals(turn, "dropped", {dropped.sessions, dropped.bytes, dropped.packets});
    turn.say("dropped_because ended=%lu silent=%lu aged=%lu\n", dropped.ended, dropped.silent, dropped.aged);
    turn.say("input state=%s lost_packets=%lu\n", inputs[static_cast<size_t>(live.input)], live.lost);
}

// By application; tag= names one.
void log_stat(Appliance& appliance, Turn& turn)
{
    std::map<uint16_t, Totals> by_application;
    Totals all;
    for (const Session& session : appliance.world.sessions) {
        by_application[session.application].count(session);
        all.count(session);
    }
    std::string tag = turn.value("tag").value_or("");
    for (const LabApplication& application : lab_applications)
        if (by_application.contains(application.id) && (tag.empty() || tag == application.name))
            say_totals(turn, application.name, by_application[application.id]);
    if (!tag.empty())
        return;
    say_totals(turn, "total", all);
    if (appliance.world.live)
        say_live(turn, *appliance.world.live);
}

void log_get(Appliance& appliance, Turn& turn)
{
    turn.say("%s\n", counts_text(appliance.world.capture).c_str());
}

void query_stat(Appliance& appliance, Turn& turn)
{
    uint64_t answered = 0, refused = 0;
    for (const auto& [module, counts] : appliance.requests()) {
        answered += counts.answered;
        refused += counts.refused;
    }
    turn.say("queries answered=%lu refused=%lu\n", answered, refused);
}

// ---- Workers: the sessions are spread over them by their path and ports ----

constexpr size_t workers = 4;

size_t worker_of(const Session& session)
{
    return (session.client_port + session.server_port + session.path) % workers;
}

void worker_stat(Appliance& appliance, Turn& turn)
{
    std::array<Totals, workers> totals;
    for (const Session& session : appliance.world.sessions)
        totals[worker_of(session)].count(session);
    uint32_t task = turn.number("taskid", workers);
    for (size_t i = 0; i < workers; i++)
        if (task >= workers || task == i)
            say_totals(turn, ("worker" + std::to_string(i)).c_str(), totals[i]);
}

// The workers themselves, or with type=task what was given them.
void worker_list(Appliance& appliance, Turn& turn)
{
    std::string type = turn.value("type").value_or("");
    for (size_t i = 0; i < workers && type != "task"; i++)
        turn.say("id=%zu type=worker state=running\n", i);
    if (type.empty() || type == "task")
        task_list(appliance, turn, "worker");
}

void worker_add(Appliance& appliance, Turn& turn)
{
    if (!turn.has("taskname"))
        return turn.refuse(lab_error::invalid, "NO_TASKNAME");
    task_add(appliance, turn, "worker");
}

void disk_stat(Appliance&, Turn& turn)
{
    for (const char* directory : {place::export_directory, place::alert_log_directory}) {
        struct statvfs status {};
        if (statvfs(placed(directory).text, &status) != 0)
            continue;
        turn.say("%s total=%lu free=%lu\n", directory, status.f_blocks * status.f_frsize,
                 status.f_bavail * status.f_frsize);
    }
}

constexpr uint8_t analysis = daemon_kind::analysis;

constexpr Route routes[] = {
    {analysis, nullptr,    387,        module_list},
    {analysis, nullptr,    388,        module_stat},
    {analysis, nullptr,    282,        key_tables },
    {analysis, "obslog",   verb::stat, log_stat   },
    {analysis, "obslog",   verb::get,  log_get    },
    {analysis, "obsquery", verb::stat, query_stat },
    {analysis, "worker",   verb::stat, worker_stat},
    {analysis, "worker",   verb::list, worker_list},
    {analysis, "worker",   verb::add,  worker_add },
    {analysis, "disk",     verb::stat, disk_stat  },
};

} // namespace

std::span<const Route> system_routes()
{
    return routes;
}

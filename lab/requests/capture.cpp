// Packets held in memory, and the hosts learnt from them.
#include "lab/packets/frames.h"
#include "lab/requests/appliance.h"
#include "lab/requests/listing.h"
#include "lab/requests/session_filter.h"
#include "lab/requests/settings.h"
#include "lab/requests/wire_fill.h"
#include "wire/host.h"

namespace {

// ---- Captures: tasks whose words filter sessions; without one everything is captured ----

constexpr char module[] = "mempcap";
constexpr uint32_t frames_default = 65536;

bool enabled(const Task& task)
{
    auto enable = task.values.find("enable");
    return enable == task.values.end() || enable->second != "0";
}

std::vector<SessionFilter> filters_of(const World& world)
{
    std::vector<SessionFilter> filters;
    auto tasks = world.tasks.find(module);
    if (tasks == world.tasks.end())
        return filters;
    for (const Task& task : tasks->second) {
        SessionFilter filter;
        auto value = [&](const char* key) -> std::optional<std::string> {
            auto found = task.values.find(key);
            return found != task.values.end() ? std::optional(found->second) : std::nullopt;
        };
        if (enabled(task) && filter.read(value) == nullptr)
            filters.push_back(filter);
    }
    return filters;
}

// What memory holds: the newest sessions that a task asks for, as far as the packets fit, in order of birth,
// each with the number of its first packet.
struct Held {
    std::vector<std::pair<uint64_t, const Session*>> sessions;
    uint64_t frames = 0;
};

Held hold(const World& world)
{
    std::vector<SessionFilter> filters = filters_of(world);
    uint64_t room = setting(world, module, "max", frames_default);
    Held held;
    for (auto s = world.sessions.rbegin(); s != world.sessions.rend(); ++s) {
        bool asked = filters.empty() || std::ranges::any_of(filters, [&](const SessionFilter& filter) {
                         return filter.passes(world, *s);
                     });
        if (!asked)
            continue;
        if (held.frames + frames_of(*s) > room)
            break;
        held.sessions.emplace_back(held.frames, &*s);
        held.frames += frames_of(*s);
    }
    std::ranges::reverse(held.sessions);
    for (auto& [first, session] : held.sessions)
        first = held.frames - first - frames_of(*session);
    return held;
}

// The stream goes on at the cursor's packet; cursor 0 begins with the file header, so packet n is cursor n
// + 1.
void capture_dump(Appliance& appliance, Turn& turn)
{
    const World& world = appliance.world;
    const Held& held = appliance.kept<Held>([&] { return hold(world); });
    std::string out = turn.cursor() == 0 ? capture_file_header() : "";
    uint64_t at = turn.cursor() == 0 ? 0 : turn.first_item() - 1;
    auto session = std::ranges::upper_bound(held.sessions, at, {}, [](const auto& one) { return one.first; });
    if (session != held.sessions.begin())
        --session;
    while (at < held.frames && out.size() + frame_record_max <= turn.area().size()) {
        auto k = static_cast<uint32_t>(at - session->first);
        append_frame(world, *session->second, k, out);
        at++;
        if (k + 1 == frames_of(*session->second))
            ++session;
    }
    out.copy(turn.area().data(), turn.area().size());
    turn.end_stream(out.size(), at + 1, at >= held.frames);
}

void capture_add(Appliance& appliance, Turn& turn)
{
    SessionFilter filter;
    if (filter.read(turn))
        task_add(appliance, turn, module);
}

void capture_set(Appliance& appliance, Turn& turn)
{
    SessionFilter filter;
    if (filter.read(turn))
        task_change(appliance, turn, module);
}

void capture_remove(Appliance& appliance, Turn& turn)
{
    task_remove(appliance, turn, module);
}

void capture_list(Appliance& appliance, Turn& turn)
{
    task_list(appliance, turn, module);
}

// max= bounds the packets that memory holds.
void capture_config(Appliance& appliance, Turn& turn)
{
    if (!change_settings(appliance, turn, module, {"max"}))
        return;
    say_settings(appliance.world, turn, module);
    turn.say("\n");
}

void capture_stat(Appliance& appliance, Turn& turn)
{
    const Held& held = appliance.kept<Held>([&] { return hold(appliance.world); });
    turn.say("tasks=%zu sessions=%zu packets=%lu", appliance.world.tasks[module].size(), held.sessions.size(),
             held.frames);
    say_settings(appliance.world, turn, module);
    turn.say("\n");
}

// ---- Hosts ----

void fill_host(const World& world, const HostReport& report, HostRecord& r)
{
    r.time = report.last_seen;
    r.valid = 1;
    put_text(r.name, world.name_of(report.endpoint));
    r.address = world.address(report.endpoint).ipv4();
    for (size_t i = 0; i < report.ports.size(); i++)
        r.ports[i] = report.ports[i];
    r.dns_count = report.dns;
    r.http_count = report.http;
    for (size_t i = 0; i < report.others.size(); i++)
        r.sub_counts[i] = report.others[i];
    put_text(r.note, "served=" + std::to_string(report.served));
}

void host_list(Appliance& appliance, Turn& turn)
{
    turn.records<HostRecord>(appliance.hosts(), [&](const HostReport& report, HostRecord& r) {
        fill_host(appliance.world, report, r);
        return true;
    });
}

void host_stat(Appliance& appliance, Turn& turn)
{
    uint64_t dns = 0, http = 0, others = 0;
    for (const HostReport& host : appliance.hosts()) {
        dns += host.dns;
        http += host.http;
        for (uint32_t count : host.others)
            others += count;
    }
    turn.say("hosts=%zu dns=%lu http=%lu others=%lu\n", appliance.hosts().size(), dns, http, others);
}

// What learning hosts is bounded by; nothing is sent with the request, so nothing changes.
void host_config(Appliance& appliance, Turn& turn)
{
    turn.say("hosts_held=%zu ports_held=%zu\n", appliance.hosts().size(), HostReport{}.ports.size());
}

constexpr uint8_t management = daemon_kind::management;

constexpr Route routes[] = {
    {management, module,    verb::dump,   capture_dump  },
    {management, module,    verb::add,    capture_add   },
    {management, module,    verb::set,    capture_set   },
    {management, module,    verb::remove, capture_remove},
    {management, module,    verb::list,   capture_list  },
    {management, module,    verb::get,    capture_list  },
    {management, module,    verb::config, capture_config},
    {management, module,    verb::stat,   capture_stat  },
    {management, "obshost", verb::list,   host_list     },
    {management, "obshost", verb::stat,   host_stat     },
    {management, "obshost", verb::config, host_config   },
};

} // namespace

std::span<const Route> capture_routes()
{
    return routes;
}

// Network events: definitions, the log of their occurrences, and their charts and sessions in short.
#include "lab/requests/appliance.h"
#include "lab/requests/listing.h"
#include "lab/requests/settings.h"
#include "lab/requests/wire_fill.h"
#include "wire/event.h"

namespace {

// What a request says of events: id=, rid=, type= (or evtype=), level=, insname=, start=, end= (of the
// death).
struct EventFilter {
    std::vector<uint32_t> ids;
    uint32_t rule, level, start, end;
    std::string type, instance;

    explicit EventFilter(const Turn& turn)
        : ids(numbers_of(turn, "id")), rule(turn.number("rid")), level(turn.number("level", UINT32_MAX)),
          start(turn.number("start")), end(turn.number("end", UINT32_MAX)),
          type(turn.value(turn.has("evtype") ? "evtype" : "type").value_or("")),
          instance(turn.free_text("insname", 31))
    {
    }
    template <class Event> bool passes(const Event& event) const
    {
        return (ids.empty() || std::ranges::find(ids, uint32_t{event.id}) != ids.end()) &&
               (rule == 0 || event.rule == rule) && (level == UINT32_MAX || event.level == level) &&
               (type.empty() || event.type == type) && (instance.empty() || event.instance == instance) &&
               event.death >= start && event.death <= end;
    }
};

// The texts that definitions and occurrences share, each record with widths of its own.
template <class Event, class Record> void put_event_texts(const Event& event, Record& r)
{
    put_text(r.evtype, event.type);
    put_text(r.evopcode, event.operation);
    put_text(r.evattr, event.attribute);
    put_text(r.evlimit1, event.limit1);
    put_text(r.evlimit2, event.limit2);
    put_text(r.fval, event.first_value);
    put_text(r.lval, event.last_value);
    put_text(r.robj, event.object);
    put_text(r.robj_ch, event.object_local);
    put_text(r.insname, event.instance);
    put_text(r.insname_ch, event.instance_local);
}

bool fill_definition(const EventDefinition& event, EventRecord& r)
{
    r.effective = event.effective ? 1 : 0;
    r.alarm_level = event.level;
    r.id = event.id;
    r.ruleid = event.rule;
    r.evattrid = event.attribute_id;
    r.evbirth = event.birth;
    r.evdeath = event.death;
    r.lreport = event.last_report;
    r.evsn = event.serial;
    r.excnt = event.excess_count;
    r.obj_threshold = event.object_threshold;
    put_event_texts(event, r);
    return true;
}

void definition_list(Appliance& appliance, Turn& turn)
{
    EventFilter filter(turn);
    turn.records<EventRecord>(appliance.world.event_definitions,
                              [&](const EventDefinition& event, EventRecord& r) {
                                  return filter.passes(event) && fill_definition(event, r);
                              });
}

uint8_t flags_of(const EventOccurrence& event)
{
    return static_cast<uint8_t>((event.dont_notify ? 1 : 0) | (event.effective ? 2 : 0) |
                                (event.level & 3U) << 2 | (event.read ? 16 : 0));
}

bool fill_occurrence(const EventOccurrence& event, EventLogRecord& r)
{
    r.flags = flags_of(event);
    r.evattrid = event.attribute_id;
    r.id = event.id;
    r.rid = event.rule;
    r.evsn = event.serial;
    r.rtime = event.report_time;
    r.evt_birth = event.birth;
    r.evdeath = event.death;
    r.reportm = event.report_mask;
    r.obj_threshold = event.object_threshold;
    put_text(r.failure, event.failure);
    put_event_texts(event, r);
    return true;
}

void log_list(Appliance& appliance, Turn& turn)
{
    EventFilter filter(turn);
    turn.records<EventLogRecord>(appliance.world.event_log,
                                 [&](const EventOccurrence& event, EventLogRecord& r) {
                                     return filter.passes(event) && fill_occurrence(event, r);
                                 });
}

// Which occurrences a change means: evsn= (one or several), or the filter words; all=1 for every one.
bool means(const Turn& turn, const EventFilter& filter, const std::vector<uint32_t>& serials,
           const EventOccurrence& event)
{
    if (turn.number("all") != 0)
        return true;
    if (!serials.empty())
        return std::ranges::find(serials, event.serial) != serials.end();
    return filter.passes(event);
}

bool names_something(Turn& turn)
{
    for (const char* key : {"all", "evsn", "id", "rid", "type", "evtype", "level", "insname", "start", "end"})
        if (turn.has(key))
            return true;
    return turn.refuse(lab_error::invalid, "NO_ARGUMENT"), false;
}

// rdstat= marks occurrences read or unread, dontnotify= silences them.
void log_config(Appliance& appliance, Turn& turn)
{
    if (!names_something(turn))
        return;
    EventFilter filter(turn);
    std::vector<uint32_t> serials = numbers_of(turn, "evsn");
    unsigned changed = 0;
    for (EventOccurrence& event : appliance.world.event_log) {
        if (!means(turn, filter, serials, event))
            continue;
        event.read = turn.number("rdstat", event.read ? 1 : 0) != 0;
        event.dont_notify = turn.number("dontnotify", event.dont_notify ? 1 : 0) != 0;
        changed++;
    }
    turn.say("changed=%u\n", changed);
}

void log_remove(Appliance& appliance, Turn& turn)
{
    if (!names_something(turn))
        return;
    EventFilter filter(turn);
    std::vector<uint32_t> serials = numbers_of(turn, "evsn");
    size_t removed = std::erase_if(appliance.world.event_log, [&](const EventOccurrence& event) {
        return means(turn, filter, serials, event);
    });
    turn.say("removed=%zu\n", removed);
}

// Occurrences by the hour of their death, for the event chart.
std::map<uint32_t, unsigned> by_hour(const World& world)
{
    std::map<uint32_t, unsigned> hours;
    for (const EventOccurrence& event : world.event_log)
        hours[event.death / 3600 * 3600]++;
    return hours;
}

void chart_list(Appliance& appliance, Turn& turn)
{
    for (auto [hour, count] : by_hour(appliance.world))
        turn.say("%u %u\n", hour, count);
}

void chart_stat(Appliance& appliance, Turn& turn)
{
    turn.say("hours=%zu events=%zu\n", by_hour(appliance.world).size(), appliance.world.event_log.size());
}

// Sessions behind the events: those that ended in a reset, touched an indicator or hit a signature.
void session_stat(Appliance& appliance, Turn& turn)
{
    turn.say("resets=%zu malicious=%zu signatures=%zu\n", appliance.resets().size(),
             appliance.malicious().size(), appliance.hits().size());
}

constexpr Route routes[] = {
    {daemon_kind::management, "nevt",          verb::list,   definition_list},
    {daemon_kind::management, "nevt_log",      verb::list,   log_list       },
    {daemon_kind::management, "nevt_log",      verb::config, log_config     },
    {daemon_kind::management, "nevt_log",      verb::remove, log_remove     },
    {daemon_kind::management, "netev_chart",   verb::list,   chart_list     },
    {daemon_kind::management, "netev_chart",   verb::stat,   chart_stat     },
    {daemon_kind::management, "netev_session", verb::stat,   session_stat   },
};

} // namespace

std::span<const Route> event_routes()
{
    return routes;
}

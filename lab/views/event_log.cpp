#include "lab/views/event_log.h"

#include "lab/dictionary/gbk.h"
#include "lab/views/views.h"
#include "lab/world/furnish.h"

#include <algorithm>
#include <numeric>

namespace {

constexpr size_t occurrences_most = 400; // of one kind in one state of the traffic
constexpr ptrdiff_t log_most = 4000;

// Logs an occurrence of a definition and keeps the definition's own counters in step.
void log_occurrence(World& world, EventDefinition& rule, uint32_t birth, uint32_t death,
                    const std::string& value, const std::string& instance, const std::string& instance_local)
{
    EventOccurrence event;
    event.id = rule.id;
    event.rule = rule.rule;
    event.attribute_id = rule.attribute_id;
    event.level = rule.level;
    event.effective = rule.effective;
    event.read = death + 86400 < world.now; // the operators have seen what is older than a day
    event.serial = ++rule.serial;
    event.birth = birth;
    event.report_time = event.death = death;
    event.object_threshold = rule.object_threshold;
    event.type = rule.type;
    event.attribute = rule.attribute;
    event.operation = rule.operation;
    event.limit1 = rule.limit1.substr(0, 15);
    event.limit2 = rule.limit2.substr(0, 15);
    event.first_value = event.last_value = value.substr(0, 15);
    event.object = rule.object;
    event.object_local = rule.object_local;
    event.instance = instance.substr(0, 31);
    event.instance_local = instance_local.substr(0, 31);
    rule.birth = rule.birth == 0 ? birth : std::min(rule.birth, birth);
    rule.death = std::max(rule.death, death);
    rule.last_report = rule.death;
    rule.excess_count++;
    rule.instance = event.instance;
    rule.instance_local = event.instance_local;
    rule.last_value = event.last_value;
    if (rule.first_value.empty())
        rule.first_value = event.first_value;
    world.event_log.push_back(std::move(event));
}

// Runs of buckets in which a path carried more than twice its average. Of live traffic, runs that are over:
// the bucket of this moment is not full yet.
void log_busy_path(World& world, EventDefinition& rule, uint32_t path, uint32_t& busy_until)
{
    Chart chart = chart_of(world, {.hours = 72, .path = path, .tags = {"bytes"}});
    const std::vector<uint64_t>& values = chart.series[0].values;
    uint64_t limit = 2 * std::accumulate(values.begin(), values.end(), uint64_t{0}) / values.size(), peak = 0;
    uint32_t begun = 0;
    size_t whole = values.size() - (world.live ? 1 : 0);
    for (size_t i = 0; i < whole || (i == whole && !world.live); i++) {
        if (i < whole && values[i] > limit) {
            begun = begun == 0 ? chart.times[i] : begun;
            peak = std::max(peak, values[i]);
            continue;
        }
        uint32_t end = i == 0 ? 0 : std::min(chart.times[i - 1] + chart.bucket, world.now);
        if (begun != 0 && end > busy_until) {
            log_occurrence(world, rule, begun, end, std::to_string(peak * 8 / chart.bucket),
                           "if" + std::to_string(path), std::string{"链路"_gbk} + std::to_string(path));
            busy_until = end;
        }
        begun = 0;
        peak = 0;
    }
}

// Sessions that a rule meets: `known` holds those of the state before, and afterwards those of this one.
class Meetings {
public:
    Meetings(const Traffic& traffic, std::vector<uint64_t>& known) : traffic_(traffic), known_(known) {}
    ~Meetings()
    {
        std::ranges::sort(met_);
        known_ = std::move(met_);
    }
    Meetings(const Meetings&) = delete;

    // Whether the session is to be logged: it is new, and one of the first so many new ones.
    bool is_new(const Session& session)
    {
        auto place = static_cast<size_t>(&session - traffic_.sessions.data());
        met_.push_back(traffic_.live ? traffic_.live->numbers[place] : place);
        return !std::ranges::binary_search(known_, met_.back()) && logged_++ < occurrences_most;
    }

private:
    const Traffic& traffic_;
    std::vector<uint64_t>& known_;
    std::vector<uint64_t> met_;
    size_t logged_ = 0;
};

void log_malicious(World& world, EventDefinition& rule, std::vector<uint64_t>& known)
{
    Meetings meetings(world, known);
    for (const MaliciousEvent& event : malicious_of(world)) {
        if (!meetings.is_new(*event.session))
            continue;
        const Indicator& indicator = *event.indicator;
        std::string name = indicator.name.empty() ? address_text(indicator.address) : indicator.name;
        log_occurrence(world, rule, event.session->birth, event.session->last,
                       std::to_string(indicator.level), name, indicator.type);
    }
}

void log_slow_answers(World& world, EventDefinition& rule, std::vector<uint64_t>& known)
{
    Meetings meetings(world, known);
    for (const Session& session : world.sessions) {
        if (session.application_delay <= 1000000 || !meetings.is_new(session))
            continue;
        std::string name = world.name_of(session.server);
        log_occurrence(world, rule, session.birth, session.last, std::to_string(session.application_delay),
                       name, name);
    }
}

} // namespace

void log_events(World& world, EventWatch& watch)
{
    for (EventDefinition& rule : world.event_definitions) {
        if (rule.id == event_rule::busy_path)
            for (uint32_t path = 1; path < watch.busy_until.size(); path++)
                log_busy_path(world, rule, path, watch.busy_until[path]);
        else if (rule.id == event_rule::malicious)
            log_malicious(world, rule, watch.malicious);
        else if (rule.id == event_rule::slow_answer)
            log_slow_answers(world, rule, watch.slow);
    }
    std::ranges::stable_sort(world.event_log, {}, &EventOccurrence::death);
    if (world.event_log.size() > log_most)
        world.event_log.erase(world.event_log.begin(), world.event_log.end() - log_most);
}

void log_events(World& world)
{
    EventWatch watch;
    if (world.event_log.empty())
        log_events(world, watch);
}

#include "lab/views/event_log.h"

#include "lab/dictionary/gbk.h"
#include "lab/views/views.h"
#include "lab/world/furnish.h"

#include <algorithm>

namespace {

constexpr size_t occurrences_most = 400; // of one kind

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

// Runs of buckets in which a path carried more than twice its average.
void log_busy_paths(World& world, EventDefinition& rule)
{
    for (uint32_t path = 1; path <= 8; path++) {
        Chart chart = chart_of(world, {.hours = 72, .path = path, .tags = {"bytes"}});
        const std::vector<uint64_t>& values = chart.series[0].values;
        uint64_t sum = 0;
        for (uint64_t value : values)
            sum += value;
        uint64_t limit = 2 * sum / values.size(), peak = 0;
        uint32_t begun = 0;
        for (size_t i = 0; i <= values.size(); i++) {
            if (i < values.size() && values[i] > limit) {
                begun = begun == 0 ? chart.times[i] : begun;
                peak = std::max(peak, values[i]);
            } else if (begun != 0) {
                uint32_t end = std::min(chart.times[i - 1] + chart.bucket, world.now);
                log_occurrence(world, rule, begun, end, std::to_string(peak * 8 / chart.bucket),
                               "if" + std::to_string(path), std::string{"链路"_gbk} + std::to_string(path));
                begun = 0;
                peak = 0;
            }
        }
    }
}

void log_malicious(World& world, EventDefinition& rule)
{
    size_t logged = 0;
    for (const MaliciousEvent& event : malicious_of(world)) {
        if (logged++ == occurrences_most)
            break;
        const Indicator& indicator = *event.indicator;
        std::string name = indicator.name.empty() ? address_text(indicator.address) : indicator.name;
        log_occurrence(world, rule, event.session->birth, event.session->last,
                       std::to_string(indicator.level), name, indicator.type);
    }
}

void log_slow_answers(World& world, EventDefinition& rule)
{
    size_t logged = 0;
    for (const Session& session : world.sessions) {
        if (session.application_delay <= 1000000 || logged == occurrences_most)
            continue;
        logged++;
        std::string name = world.name_of(session.server);
        log_occurrence(world, rule, session.birth, session.last, std::to_string(session.application_delay),
                       name, name);
    }
}

} // namespace

void log_events(World& world)
{
    if (!world.event_log.empty())
        return;
    for (EventDefinition& rule : world.event_definitions) {
        if (rule.id == event_rule::busy_path)
            log_busy_paths(world, rule);
        else if (rule.id == event_rule::malicious)
            log_malicious(world, rule);
        else if (rule.id == event_rule::slow_answer)
            log_slow_answers(world, rule);
    }
    std::stable_sort(world.event_log.begin(), world.event_log.end(),
                     [](const EventOccurrence& a, const EventOccurrence& b) { return a.death < b.death; });
}

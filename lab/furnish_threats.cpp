// Indicators, signatures, event rules and their log. The texts of this file are compiled to GBK.
#include "lab/applications.h"
#include "lab/furnish.h"
#include "lab/views.h"

#include <algorithm>

namespace {

struct Threat {
    const char* type;
    uint8_t level;
};
constexpr Threat threats[] = {
    {"木马",       1},
    {"远控",       1},
    {"勒索软件", 1},
    {"挖矿",       2},
    {"僵尸网络", 2},
    {"钓鱼",       2},
    {"扫描",       3},
    {"垃圾邮件", 3},
    {"广告",       4},
    {"可疑域名", 4},
};

Indicator indicator_number(size_t i)
{
    const Threat& threat = threats[i % std::size(threats)];
    Indicator indicator;
    indicator.level = threat.level;
    indicator.type = threat.type;
    return indicator;
}

// Of `size` candidates about one in fifty, at least one, at most `most`; every stride-th is taken.
size_t stride_for(size_t size, size_t most)
{
    size_t wanted = std::clamp<size_t>(size / 50, 1, most);
    return std::max<size_t>(1, size / wanted);
}

struct SignatureRow {
    uint32_t sid;
    uint8_t category;
    const char* message;
    bool (*matches)(const Session& session);
};

constexpr SignatureRow signature_rows[] = {
    {2000101, 1, "SCAN connection refused",
     [](const Session& s) { return s.handshake != Handshake::complete && s.reset == ResetBy::server; }              },
    {2000102, 1, "SCAN echo without answer",
     [](const Session& s) { return s.application == lab_application_icmp && s.down_packets == 0; }                  },
    {2000201, 2, "POLICY clear-text remote terminal",
     [](const Session& s) { return s.application == application_named("telnet") && s.down_bytes > 0; }              },
    {2000202, 2, "POLICY outdated TLS version",
     [](const Session& s) { return s.encrypted && s.protocol == 6 && s.client_port % 64 == 0; }                     },
    {2000301, 3, "WEB server error",                  [](const Session& s) { return s.http_status >= 500; }         },
    {2000302, 3, "WEB probing for missing pages",     [](const Session& s) { return s.http_status == 404; }         },
    {2000303, 3, "WEB access denied",                 [](const Session& s) { return s.http_status == 403; }         },
    {2000401, 4, "SSH long session",
     [](const Session& s) { return s.application == application_named("ssh") && s.up_packets > 200; }               },
    {2000501, 5, "DNS unusually large answers",
     [](const Session& s) { return s.application == application_named("dns") && s.down_bytes > 650; }               },
    {2000502, 5, "DNS request without answer",
     [](const Session& s) { return s.application == application_named("dns") && s.down_packets == 0; }              },
    {2000601, 6, "FLOW stalled receiver",
     [](const Session& s) { return s.up_zero_windows + s.down_zero_windows > 4; }                                   },
    {2000602, 6, "FLOW very slow answer",             [](const Session& s) { return s.application_delay > 2000000; }},
};

// --- events

constexpr size_t occurrences_most = 400; // of one kind

// What the appliance watches. The limit of the interface rule is set from the traffic.
EventDefinition definition(uint16_t id, uint8_t level, const char* type, const char* attribute,
                           const char* operation, std::string limit, const char* object,
                           const char* object_local)
{
    EventDefinition event;
    event.id = id;
    event.rule = static_cast<uint16_t>(100 + id);
    event.attribute_id = static_cast<uint16_t>(10 + id);
    event.level = level;
    event.type = type;
    event.attribute = attribute;
    event.operation = operation;
    event.limit1 = std::move(limit);
    event.limit2 = "0";
    event.object = object;
    event.object_local = object_local;
    event.object_threshold = 1;
    return event;
}

// Logs an occurrence of a definition and keeps the definition's own counters in step.
void log_occurrence(World& world, size_t definition_index, uint32_t birth, uint32_t death,
                    const std::string& value, const std::string& instance, const std::string& instance_local)
{
    EventDefinition& rule = world.event_definitions[definition_index];
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
void log_busy_paths(World& world, size_t definition_index)
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
                log_occurrence(world, definition_index, begun, end, std::to_string(peak * 8 / chart.bucket),
                               "if" + std::to_string(path), "链路" + std::to_string(path));
                begun = 0;
                peak = 0;
            }
        }
    }
}

void log_malicious(World& world, size_t definition_index)
{
    size_t logged = 0;
    for (const MaliciousEvent& event : malicious_of(world)) {
        if (logged++ == occurrences_most)
            break;
        const Indicator& indicator = *event.indicator;
        std::string name = indicator.name.empty() ? address_text(indicator.address) : indicator.name;
        log_occurrence(world, definition_index, event.session->birth, event.session->last,
                       std::to_string(indicator.level), name, indicator.type);
    }
}

void log_slow_answers(World& world, size_t definition_index)
{
    size_t logged = 0;
    for (const Session& session : world.sessions) {
        if (session.application_delay <= 1000000 || logged == occurrences_most)
            continue;
        logged++;
        std::string name = world.name_of(session.server);
        log_occurrence(world, definition_index, session.birth, session.last,
                       std::to_string(session.application_delay), name, name);
    }
}

} // namespace

void furnish_indicators(World& world)
{
    if (!world.indicators.empty())
        return;
    std::vector<Busy> outside = busiest_servers(world);
    std::erase_if(outside, [&](const Busy& busy) {
        return world.address(busy.endpoint).ipv6 || is_inside(world.address(busy.endpoint));
    });
    // From the least popular end: who everybody talks to is seldom malicious.
    std::reverse(outside.begin(), outside.end());
    size_t stride = stride_for(outside.size(), 40);
    for (size_t i = 0; i < outside.size() && world.indicators.size() < 40; i += stride) {
        Indicator indicator = indicator_number(world.indicators.size());
        indicator.address = world.address(outside[i].endpoint);
        indicator.port = world.indicators.size() % 3 == 1 ? uint16_t{443} : uint16_t{0};
        world.indicators.push_back(std::move(indicator));
    }
    size_t offset = outside.size() > 1 ? stride / 2 : 0, named = 0;
    for (size_t i = offset; i < outside.size() && named < 20; i += 2 * stride) {
        TextId name = world.endpoints[outside[i].endpoint].name;
        if (name == 0)
            continue;
        Indicator indicator = indicator_number(3 + world.indicators.size());
        indicator.name = world.text(name);
        world.indicators.push_back(std::move(indicator));
        named++;
    }
}

void furnish_signatures(World& world)
{
    if (!world.signatures.empty())
        return;
    for (const SignatureRow& row : signature_rows)
        world.signatures.push_back({row.sid, row.category, row.message, true});
    for (uint32_t i = 0; i < world.sessions.size(); i++) {
        const Session& session = world.sessions[i];
        if (world.address(session.client).ipv6)
            continue; // the session records of the detector hold IPv4 addresses
        for (uint32_t k = 0; k < std::size(signature_rows); k++)
            if (signature_rows[k].matches(session))
                world.signature_hits.push_back({i, k});
    }
}

void furnish_events(World& world)
{
    if (!world.event_definitions.empty())
        return;
    world.event_definitions = {
        definition(1, 1, "if", "bps", ">", "200%", "interface", "网络接口"),
        definition(2, 3, "malicious", "level", "<=", "4", "address", "恶意地址"),
        definition(3, 2, "delay", "appdelay", ">", "1000000", "server", "服务器"),
        definition(4, 0, "asset", "failrate", ">", "50", "asset", "资产"),
    };
    log_busy_paths(world, 0);
    log_malicious(world, 1);
    log_slow_answers(world, 2);
    std::stable_sort(world.event_log.begin(), world.event_log.end(),
                     [](const EventOccurrence& a, const EventOccurrence& b) { return a.death < b.death; });
}

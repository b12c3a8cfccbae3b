// Indicators, signatures and event rules.
#include "lab/dictionary/gbk.h"
#include "lab/world/applications.h"
#include "lab/world/furnish.h"

#include <algorithm>

namespace {

struct Threat {
    const char* type;
    uint8_t level;
};
constexpr Threat threats[] = {
    {"木马"_gbk,       1},
    {"远控"_gbk,       1},
    {"勒索软件"_gbk, 1},
    {"挖矿"_gbk,       2},
    {"僵尸网络"_gbk, 2},
    {"钓鱼"_gbk,       2},
    {"扫描"_gbk,       3},
    {"垃圾邮件"_gbk, 3},
    {"广告"_gbk,       4},
    {"可疑域名"_gbk, 4},
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
        world.signatures.push_back({row.sid, row.category, row.message});
    hit_signatures(world);
}

void hit_signatures(World& world)
{
    world.signature_hits.clear();
    for (uint32_t i = 0; i < world.sessions.size(); i++) {
        const Session& session = world.sessions[i];
        if (world.address(session.client).ipv6)
            continue; // the session records of the detector hold IPv4 addresses
        for (uint32_t k = 0; k < std::size(signature_rows); k++)
            if (session.birth > world.signatures[k].forgotten && signature_rows[k].matches(session))
                world.signature_hits.push_back({i, k});
    }
}

void furnish_event_rules(World& world)
{
    if (!world.event_definitions.empty())
        return;
    world.event_definitions = {
        definition(event_rule::busy_path, 1, "if", "bps", ">", "200%", "interface", "网络接口"_gbk),
        definition(event_rule::malicious, 3, "malicious", "level", "<=", "4", "address", "恶意地址"_gbk),
        definition(event_rule::slow_answer, 2, "delay", "appdelay", ">", "1000000", "server", "服务器"_gbk),
        definition(event_rule::asset, 0, "asset", "failrate", ">", "50", "asset", "资产"_gbk),
    };
}

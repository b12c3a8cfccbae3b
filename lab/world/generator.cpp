#include "lab/world/generator.h"

#include "lab/world/applications.h"
#include "lab/world/furnish.h"
#include "lab/world/generator_events.h"
#include "lab/world/geography.h"
#include "lab/world/ip_protocol.h"
#include "lab/world/population.h"
#include "lab/world/random.h"
#include "lab/world/words.h"

#include <algorithm>

namespace {

constexpr uint32_t days = 3, span = days * 86400;
constexpr uint16_t dns = application_named("dns"), http = application_named("http"),
                   https = application_named("https"), ssh = application_named("ssh");

// What hosts talk about: how often, how much, and over what.
struct Service {
    uint32_t weight;
    uint8_t protocol;
    uint16_t port;
    uint32_t packets_most; // of the larger direction
    uint16_t segment;      // bytes of a typical large frame
    bool inside;           // served inside rather than outside
};
constexpr Service services[] = {
    {380, 6,  443,  3000, 1400, false},
    {140, 6,  80,   2000, 1400, false},
    {60,  17, 443,  3000, 1250, false},
    {170, 17, 53,   2,    220,  true },
    {20,  6,  22,   4000, 300,  true },
    {15,  6,  25,   300,  900,  false},
    {15,  6,  993,  200,  700,  false},
    {30,  17, 123,  2,    90,   false},
    {25,  17, 514,  3,    300,  true },
    {12,  17, 137,  3,    110,  true },
    {30,  6,  445,  9000, 1400, true },
    {20,  6,  3306, 800,  600,  true },
    {10,  6,  5432, 800,  600,  true },
    {12,  6,  3389, 5000, 500,  true },
    {5,   6,  23,   200,  90,   true },
    {8,   6,  21,   60,   120,  false},
    {15,  6,  8080, 500,  1200, true },
    {8,   17, 5060, 20,   500,  false},
    {25,  1,  0,    10,   98,   false},
};

// Of a thousand sessions of a day, how many begin in each hour.
constexpr uint32_t hour_weights[24] = {14, 10, 8,  7,  7,  9,  16, 30, 52, 66, 70, 66,
                                       54, 58, 66, 68, 64, 56, 48, 52, 58, 56, 42, 23};

// Draws the sessions one after the other.
class SessionSource {
public:
    SessionSource(World& world, Random& random, uint32_t sessions)
        : world_(world), random_(random), population_(world, random, sessions)
    {
        for (const Service& service : services)
            weights_ += service.weight;
        static constexpr const char* methods[] = {"GET", "GET", "GET", "GET", "POST", "HEAD", "PUT"};
        for (size_t i = 0; i < methods_.size(); i++)
            methods_[i] = world.texts.intern(methods[i]);
        static constexpr const char* agents[] = {
            "", "browser/115.0", "browser/98.2", "mobile/16.4", "updater/2.1", "crawler/1.0"};
        for (size_t i = 0; i < agents_.size(); i++)
            agents_[i] = world.texts.intern(agents[i]);
        static constexpr const char* programs[] = {"", "webd/1.24", "webd/2.4", "proxyd/5.7"};
        for (size_t i = 0; i < programs_.size(); i++)
            programs_[i] = world.texts.intern(programs[i]);
        for (size_t i = 0; i < tls_.size(); i++)
            tls_[i] = world.texts.intern(tls_version_word(static_cast<uint16_t>(0x0301 + i)));
        static constexpr uint16_t questions[] = {1, 1, 1, 28, 28, 12, 16, 65};
        for (size_t i = 0; i < questions_.size(); i++)
            questions_[i] = world.texts.intern(dns_type_word(questions[i]));
        ssh_banner_ = world.texts.intern("SSH-2.0-sshd_9.2");
        ssh_client_ = world.texts.intern("SSH-2.0-term_0.78");
    }

    Session draw(uint32_t birth, uint32_t now)
    {
        const Service& service = pick_service();
        Session session;
        session.birth = session.last = birth;
        pick_ends(service, session);
        count_traffic(service, session);
        if (session.protocol == ip_protocol::tcp)
            end_connection(session);
        time_it(session, now);
        session.path = static_cast<uint8_t>(1 + session.client % 4);
        session.vlan = static_cast<uint16_t>(99 + session.path);
        session.hops = static_cast<uint8_t>(random_.chance(700) ? 64 : 128);
        describe(session);
        return session;
    }

private:
    const Service& pick_service()
    {
        uint32_t drawn = random_.below(weights_);
        for (const Service& service : services) {
            if (drawn < service.weight)
                return service;
            drawn -= service.weight;
        }
        return services[0];
    }

    void pick_ends(const Service& service, Session& session)
    {
        bool ipv6 = !service.inside && random_.chance(90);
        session.client = population_.client(ipv6);
        session.server = service.inside ? population_.server() : population_.remote(ipv6);
        if (!service.inside && !ipv6 && random_.chance(80)) { // somebody outside comes in
            session.client = population_.remote(false);
            session.server = population_.server();
        }
        bool echo = service.protocol == ip_protocol::icmp;
        session.protocol = echo && ipv6 ? ip_protocol::icmp6 : service.protocol;
        session.client_port = static_cast<uint16_t>(random_.between(echo ? 1 : 32768, 60999));
        session.server_port = service.port;
        if (service.port == 80 && random_.chance(60))
            session.server_port = random_.chance(500) ? 8080 : 8000;
        session.application = application_of(session.protocol, session.client_port, session.server_port);
    }

    void count_traffic(const Service& service, Session& session)
    {
        uint32_t most = 1 + random_.skewed(service.packets_most);
        bool datagrams = session.protocol != ip_protocol::tcp;
        session.down_packets = datagrams && random_.chance(60) ? 0 : most + (datagrams ? 0 : 4);
        session.up_packets = datagrams ? most : most / 2 + 5;
        session.down_bytes = fill(session.down_packets, service.segment);
        session.up_bytes = fill(session.up_packets, static_cast<uint16_t>(60 + service.segment / 10));
        session.largest_segment = service.segment;
    }
    uint64_t fill(uint32_t packets, uint16_t segment)
    {
        return packets == 0 ? 0 : uint64_t{packets} * segment + random_.below(segment);
    }

    // How the connection came about, what got lost on the way, and how it ended.
    void end_connection(Session& session)
    {
        uint32_t fate = random_.below(1000);
        session.handshake = fate < 930 ? Handshake::complete : fate < 975 ? Handshake::syn : Handshake::ack;
        if (session.handshake != Handshake::complete) {
            session.up_packets = random_.between(1, 3);
            session.down_packets = session.handshake == Handshake::ack ? 1 : 0;
            session.up_bytes = session.up_packets * 74u;
            session.down_bytes = session.down_packets * 74u;
            session.largest_segment = 0;
        }
        if (session.handshake == Handshake::syn && random_.chance(400)) { // refused
            session.reset = ResetBy::server;
            session.down_packets = 1;
            session.down_bytes = 60;
        } else if (session.handshake == Handshake::complete && random_.chance(50)) {
            session.reset = random_.chance(500) ? ResetBy::client : ResetBy::server;
        }
        if (session.handshake == Handshake::complete && random_.chance(250)) {
            session.up_retransmissions = random_.skewed(session.up_packets / 8 + 1);
            session.down_retransmissions = random_.skewed(session.down_packets / 8 + 2);
        }
        if (random_.chance(20))
            session.up_zero_windows = static_cast<uint16_t>(random_.between(1, 9));
    }

    // Delays in microseconds by distance; the duration follows the amount of traffic.
    void time_it(Session& session, uint32_t now)
    {
        const Location& place = world_.location(session.server);
        uint32_t base = is_inside(world_.address(session.server)) ? 300 : place.domestic ? 9000 : 90000;
        base += session.server % 97 * (base / 60);
        bool tcp = session.protocol == ip_protocol::tcp;
        if (tcp && session.handshake != Handshake::syn)
            session.server_delay = base + random_.skewed(base * 2);
        if (tcp && session.handshake == Handshake::complete)
            session.client_delay = 80 + random_.skewed(3000);
        if (session.down_packets != 0 && (!tcp || session.handshake == Handshake::complete))
            session.application_delay = base + 200 + random_.skewed(random_.chance(20) ? 4000000 : 80000);
        uint32_t lasting = random_.skewed(30 + session.down_packets / 4);
        session.last = std::min(session.birth + lasting, std::max(now, session.birth));
    }

    void describe(Session& session)
    {
        session.host = world_.endpoints[session.server].name;
        if (session.application == dns) {
            session.host = world_.endpoints[population_.remote(random_.chance(90))].name;
            session.request = questions_[random_.below(static_cast<uint32_t>(questions_.size()))];
        }
        if (session.protocol != ip_protocol::tcp || session.handshake != Handshake::complete)
            return;
        if (session.application == http) {
            session.request = methods_[random_.below(static_cast<uint32_t>(methods_.size()))];
            session.agent = agents_[random_.below(static_cast<uint32_t>(agents_.size()))];
            session.banner = programs_[random_.below(static_cast<uint32_t>(programs_.size()))];
            session.http_status = draw_status();
        } else if (session.application == https) {
            session.encrypted = true;
            session.request = tls_[random_.chance(40) ? random_.below(2) : 2 + random_.below(2)];
        } else if (session.application == ssh) {
            session.encrypted = true;
            session.banner = ssh_banner_;
            session.agent = ssh_client_;
        }
    }
    uint16_t draw_status()
    {
        static constexpr uint16_t seldom[] = {301, 302, 304, 400, 403, 404, 404, 500, 502, 503};
        return random_.chance(820) ? uint16_t{200} : seldom[random_.below(std::size(seldom))];
    }

    World& world_;
    Random& random_;
    Population population_;
    uint32_t weights_ = 0;
    std::array<TextId, 7> methods_{};
    std::array<TextId, 6> agents_{};
    std::array<TextId, 4> programs_{};
    std::array<TextId, 4> tls_{};
    std::array<TextId, 8> questions_{};
    TextId ssh_banner_ = 0, ssh_client_ = 0;
};

// When the sessions begin, in order.
std::vector<uint32_t> draw_births(Random& random, uint32_t sessions, uint32_t now)
{
    uint32_t day = 0;
    for (uint32_t weight : hour_weights)
        day += weight;
    std::vector<uint32_t> births(sessions);
    uint32_t start = now > span ? now - span : 0;
    for (uint32_t& birth : births) {
        uint32_t drawn = random.below(day), hour = 0;
        while (drawn >= hour_weights[hour])
            drawn -= hour_weights[hour++];
        birth = start + (random.below(days) * 24 + hour) * 3600;
        birth = std::min(birth + random.below(3600), now);
    }
    std::sort(births.begin(), births.end());
    return births;
}

} // namespace

void generate(const GeneratorOptions& options, World& world)
{
    Random random{options.seed};
    world.now = options.now;
    world.locations = known_locations();
    SessionSource source{world, random, options.sessions};
    world.sessions.reserve(options.sessions);
    for (uint32_t birth : draw_births(random, options.sessions, options.now))
        world.sessions.push_back(source.draw(birth, options.now));
    generate_events(world);
    furnish(world);
}

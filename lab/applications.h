#pragma once
// The applications that the appliance tells apart. The stand-in dictionary library names them from this
// table, and the sessions get their identifiers from it.
#include <cstdint>
#include <span>

namespace application {
constexpr uint16_t unknown = 1, http = 10, https = 11, dns = 12, ssh = 13, icmp = 17, syslog = 24,
                   netbios = 26;
}

struct Application {
    uint16_t id;             // below 0x3fff
    const char* name;        // primary name
    const char* second_name; // GBK where it is not ASCII
    const char* group;
    uint8_t protocol; // 6, 17, 1; 0: TCP or UDP
    uint16_t port;    // well-known server port; 0: none
};

std::span<const Application> applications();

// By server port, else by client port, for one transport protocol; application::unknown otherwise.
uint16_t application_of(uint8_t protocol, uint16_t client_port, uint16_t server_port);

#include "lab/world/applications.h"

#include <array>

// Identifiers by port, one array a protocol, made once. Of rows with the same port the first counts.
struct PortIndex {
    std::array<uint16_t, 65536> tcp{}, udp{};
    PortIndex()
    {
        for (const LabApplication& row : lab_applications) {
            if (row.port == 0)
                continue;
            if (row.protocol != 17 && tcp[row.port] == 0)
                tcp[row.port] = row.id;
            if (row.protocol != 6 && udp[row.port] == 0)
                udp[row.port] = row.id;
        }
    }
};

uint16_t application_of(uint8_t protocol, uint16_t client_port, uint16_t server_port)
{
    static const PortIndex index;
    if (protocol == 1)
        return lab_application_icmp;
    if (protocol == 58)
        return lab_application_icmp6;
    if (protocol != 6 && protocol != 17)
        return lab_application_other;
    auto& ports = protocol == 6 ? index.tcp : index.udp;
    uint16_t id = ports[server_port] != 0 ? ports[server_port] : ports[client_port];
    return id != 0 ? id : lab_application_other;
}

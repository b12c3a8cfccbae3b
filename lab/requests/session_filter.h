#pragma once
// Which sessions a request asks for, from the filter words that reports pass on to the daemon.
#include "lab/requests/turn.h"
#include "lab/views/address_filter.h"
#include "lab/world/world.h"

#include <functional>

struct PortFilter {
    uint16_t low = 0, high = 65535;

    bool read(std::string_view text); // "n" or "lo-hi"
    bool passes(uint16_t port) const { return port >= low && port <= high; }
};

// An application's identifier from its number or its primary name; -1 when it is neither.
int application_from(std::string_view text);
// "tcp", "udp", "icmp", "icmp6" or a number; -1 otherwise.
int protocol_from(std::string_view text);

class SessionFilter {
public:
    // ip= (either end), src=, dst=, port= (either end), sport=, dport=, proto=, app=, host= (part of the
    // name), vpaid=, start= and end= (birth). False with the turn refused when one cannot be read.
    bool read(Turn& turn);

    // The same from anything that has values for keys. Null, or the token that refuses it.
    using Values = std::function<std::optional<std::string>(const char* key)>;
    const char* read(const Values& values);

    bool passes(const World& world, const Session& session) const;

private:
    bool read_addresses(const Values& values);
    bool read_ports(const Values& values);

    AddressFilter either_, source_, destination_;
    PortFilter either_port_, source_port_, destination_port_;
    int protocol_ = -1, application_ = -1;
    uint32_t path_ = 0, start_ = 0, end_ = UINT32_MAX;
    std::string host_;
};

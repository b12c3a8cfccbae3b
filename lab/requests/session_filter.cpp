#include "lab/requests/session_filter.h"

#include "lab/dictionary/applications.h"

bool PortFilter::read(std::string_view text)
{
    std::string copy{text};
    char* rest = nullptr;
    unsigned long first = strtoul(copy.c_str(), &rest, 10), last = first;
    if (*rest == '-')
        last = strtoul(rest + 1, &rest, 10);
    if (copy.empty() || *rest != '\0' || first > 65535 || last > 65535)
        return false;
    low = static_cast<uint16_t>(first);
    high = static_cast<uint16_t>(last);
    return true;
}

static int number_from(std::string_view text, int most)
{
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != text.npos)
        return -1;
    int number = std::stoi(std::string{text});
    return number <= most ? number : -1;
}

int application_from(std::string_view text)
{
    for (const LabApplication& application : lab_applications)
        if (text == application.name)
            return application.id;
    return number_from(text, 16383);
}

int protocol_from(std::string_view text)
{
    static constexpr struct {
        std::string_view name;
        int number;
    } names[] = {
        {"icmp",  1 },
        {"tcp",   6 },
        {"udp",   17},
        {"icmp6", 58},
    };
    for (const auto& protocol : names)
        if (text == protocol.name)
            return protocol.number;
    return number_from(text, 255);
}

bool SessionFilter::read(Turn& turn)
{
    const char* refusal = read([&](const char* key) { return turn.value(key); });
    if (refusal != nullptr)
        turn.refuse(lab_error::invalid, refusal);
    return refusal == nullptr;
}

const char* SessionFilter::read(const Values& values)
{
    auto number = [&](const char* key, uint32_t otherwise) {
        auto text = values(key);
        return text ? static_cast<uint32_t>(strtoul(text->c_str(), nullptr, 10)) : otherwise;
    };
    host_ = values("host").value_or("");
    path_ = number("vpaid", 0);
    start_ = number("start", 0);
    end_ = number("end", UINT32_MAX);
    if (!read_addresses(values))
        return "INV_IP";
    if (!read_ports(values))
        return "INV_PORT";
    if (auto text = values("proto"); text && (protocol_ = protocol_from(*text)) < 0)
        return "INV_PROTO";
    if (auto text = values("app"); text && (application_ = application_from(*text)) < 0)
        return "INV_APP";
    return nullptr;
}

bool SessionFilter::read_addresses(const Values& values)
{
    for (auto [key, filter] : {
             std::pair{"ip",  &either_     },
             {"src", &source_     },
             {"dst", &destination_}
    })
        if (auto text = values(key); text && !filter->read(*text))
            return false;
    return true;
}

bool SessionFilter::read_ports(const Values& values)
{
    for (auto [key, filter] : {
             std::pair{"port",  &either_port_     },
             {"sport", &source_port_     },
             {"dport", &destination_port_}
    })
        if (auto text = values(key); text && !filter->read(*text))
            return false;
    return true;
}

bool SessionFilter::passes(const World& world, const Session& session) const
{
    if (application_ >= 0 && session.application != application_)
        return false;
    if (protocol_ >= 0 && session.protocol != protocol_)
        return false;
    if ((path_ != 0 && session.path != path_) || session.birth < start_ || session.birth > end_)
        return false;
    if (!source_port_.passes(session.client_port) || !destination_port_.passes(session.server_port))
        return false;
    if (!either_port_.passes(session.client_port) && !either_port_.passes(session.server_port))
        return false;
    const Address& client = world.address(session.client);
    const Address& server = world.address(session.server);
    if (!source_.passes(client) || !destination_.passes(server))
        return false;
    if (!either_.passes(client) && !either_.passes(server))
        return false;
    return host_.empty() || world.text(session.host).find(host_) != std::string_view::npos;
}

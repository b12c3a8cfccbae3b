#include "lab/world/population.h"

#include "lab/world/geography.h"

#include <algorithm>

namespace {

// Prefixes of well-known makers of network cards, so that the vendor database names them.
constexpr uint32_t card_prefixes[] = {0x001b21, 0x001aa0, 0x3c5282, 0x005056, 0xb827eb, 0x000c29,
                                      0xf8ffc2, 0xa483e7, 0x001e67, 0x000476, 0x00e0fc, 0x00900b,
                                      0x002590, 0xac1f6b, 0x00d0c9, 0x000fe2, 0xc025e9, 0xe45f01};
constexpr uint32_t router = 10; // what lies outside is seen with the router's card

Mac mac_of(uint32_t number)
{
    uint32_t prefix = card_prefixes[number % std::size(card_prefixes)];
    uint32_t low = number * 2654435761u >> 8;
    return {static_cast<uint8_t>(prefix >> 16), static_cast<uint8_t>(prefix >> 8),
            static_cast<uint8_t>(prefix),       static_cast<uint8_t>(low >> 16),
            static_cast<uint8_t>(low >> 8),     static_cast<uint8_t>(low)};
}

Address ipv6_address(uint32_t network, uint32_t host)
{
    Address address;
    address.ipv6 = true;
    for (size_t i = 0; i < 4; i++) {
        address.bytes[i] = static_cast<uint8_t>(network >> (24 - 8 * i));
        address.bytes[12 + i] = static_cast<uint8_t>(host >> (24 - 8 * i));
    }
    return address;
}

} // namespace

Population::Population(World& world, Random& random, uint32_t sessions) : world_(world), random_(random)
{
    uint32_t clients = std::clamp(sessions / 50, 20u, 20000u);
    uint32_t remotes = std::clamp(sessions / 9, 40u, 100000u);
    for (uint32_t i = 0; i < clients; i++)
        clients_.push_back(add_client(i, false));
    for (uint32_t i = 0; i < clients / 8 + 2; i++)
        clients_ipv6_.push_back(add_client(i, true));
    for (uint32_t i = 0; i < std::clamp(clients / 20, 8u, 200u); i++)
        servers_.push_back(add_server(i));
    for (uint32_t i = 0; i < remotes; i++)
        remotes_.push_back(add_remote(i, false));
    for (uint32_t i = 0; i < remotes / 12 + 2; i++)
        remotes_ipv6_.push_back(add_remote(i, true));
}

uint32_t Population::pick(const std::vector<uint32_t>& hosts)
{
    return hosts[random_.below(static_cast<uint32_t>(hosts.size()))];
}

uint32_t Population::pick_skewed(const std::vector<uint32_t>& hosts)
{
    auto size = static_cast<uint32_t>(hosts.size());
    return hosts[random_.chance(600) ? random_.skewed(size) : random_.below(size)];
}

uint32_t Population::add(const Address& address, const std::string& name)
{
    uint32_t index = world_.endpoint_of(address);
    Endpoint& endpoint = world_.endpoints[index];
    endpoint.mac = mac_of(is_inside(address) ? index : router);
    endpoint.location = location_of(address);
    endpoint.name = world_.texts.intern(name);
    return index;
}

uint32_t Population::add_client(uint32_t i, bool ipv6)
{
    std::string number = std::to_string(i + 1);
    if (ipv6)
        return add(ipv6_address(0xfd000010 + i % 4, i + 1), "pc6-" + number);
    return add(ipv4_address(0x0a000000 + ((1 + i % 8) << 16) + i / 8 + 10), "pc-" + number);
}

uint32_t Population::add_server(uint32_t i)
{
    static constexpr const char* kinds[] = {"dns", "web", "db", "file", "mail", "log", "git", "app"};
    std::string name = std::string{kinds[i % std::size(kinds)]} + '-' + std::to_string(i / 8 + 1);
    return add(ipv4_address(0xac100000 + (i / 200 << 8) + i % 200 + 10), name + ".corp.example");
}

uint32_t Population::add_remote(uint32_t i, bool ipv6)
{
    std::string name = random_.chance(800) ? remote_name(i) : "";
    if (ipv6) { // one draw a statement: compilers do not agree on the order of arguments
        uint32_t host = random_.below(1 << 30);
        return add(ipv6_address(0x20010db8 + (random_.below(512) << 16), host), name);
    }
    uint32_t ip = 0;
    do
        ip = random_.chance(20) ? 0x64400000 + random_.below(1 << 20) // shared address space
                                : static_cast<uint32_t>(random_.next() >> 32);
    while (is_inside(ipv4_address(ip)) || world_.find_endpoint(ipv4_address(ip)) != Traffic::nowhere);
    return add(ipv4_address(ip), name);
}

std::string Population::remote_name(uint32_t i)
{
    static constexpr const char* words[] = {"www",   "api",  "cdn",    "img",  "mail", "static", "update",
                                            "video", "push", "mirror", "news", "shop", "map",    "auth"};
    static constexpr const char* tops[] = {"com.example", "net.example", "cn.example", "org.example"};
    std::string site = "site" + std::to_string(i / 3);
    return std::string{words[random_.below(std::size(words))]} + '.' + site + '.' + tops[i % std::size(tops)];
}

#include "lab/world/traffic.h"

#include "lab/world/words.h"

uint32_t Traffic::endpoint_of(const Address& address)
{
    auto [found, added] = endpoint_index.try_emplace(address, static_cast<uint32_t>(endpoints.size()));
    if (added)
        endpoints.push_back({.address = address});
    return found->second;
}

std::string Traffic::name_of(uint32_t endpoint) const
{
    TextId name = endpoints[endpoint].name;
    return name != 0 ? std::string{text(name)} : address_text(address(endpoint));
}

TextId Traffic::name_of_host(TextId host) const
{
    std::string_view whole = text(host), name = ::name_of_host(whole);
    TextId known = 0;
    if (name.size() == whole.size())
        return host;
    return texts.find(name, known) ? known : TextId{0};
}

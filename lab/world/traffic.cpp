#include "lab/world/traffic.h"

#include "lab/world/words.h"

#include <bit>

// The slot that holds the address, or the free one where it belongs.
size_t Traffic::slot_of(const Address& address) const
{
    size_t slot = AddressHash{}(address) & (slots_.size() - 1);
    while (slots_[slot] != nowhere && endpoints[slots_[slot]].address != address)
        slot = (slot + 1) & (slots_.size() - 1);
    return slot;
}

void Traffic::make_slots()
{
    slots_.assign(std::bit_ceil(4 * endpoints.size() + 16), nowhere);
    for (uint32_t i = 0; i < endpoints.size(); i++)
        slots_[slot_of(endpoints[i].address)] = i;
}

uint32_t Traffic::find_endpoint(const Address& address) const
{
    return slots_.empty() ? nowhere : slots_[slot_of(address)];
}

uint32_t Traffic::endpoint_of(const Address& address)
{
    if (slots_.size() < 2 * endpoints.size() + 2)
        make_slots();
    uint32_t& slot = slots_[slot_of(address)];
    if (slot == nowhere) {
        slot = static_cast<uint32_t>(endpoints.size());
        endpoints.push_back({.address = address});
    }
    return slot;
}

std::vector<uint32_t> Traffic::keep_endpoints(const std::vector<bool>& used)
{
    std::vector<uint32_t> numbers(endpoints.size(), nowhere);
    uint32_t kept = 0;
    for (uint32_t i = 0; i < endpoints.size(); i++)
        if (used[i]) {
            endpoints[kept] = endpoints[i];
            numbers[i] = kept++;
        }
    endpoints.resize(kept);
    make_slots();
    return numbers;
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

Rate rate_of(const Traffic& traffic, const Session& session)
{
    if (traffic.live)
        return traffic.live->rates[static_cast<size_t>(&session - traffic.sessions.data())];
    uint64_t duration = duration_of(session);
    return {session.up_bytes / duration, session.down_bytes / duration,
            (uint64_t{session.up_packets} + session.down_packets) / duration};
}

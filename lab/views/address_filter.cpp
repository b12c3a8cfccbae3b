#include "lab/views/address_filter.h"

#include "base/address.h"

bool AddressFilter::read(std::string_view text)
{
    given = true;
    if (text.find(':') != text.npos) {
        ipv6 = true;
        return parse_address(text, address) && address.ipv6;
    }
    std::string copy{text};
    return !copy.empty() && parse_ipv4_range(copy.data(), low, high);
}

bool AddressFilter::passes(const Address& candidate) const
{
    if (!given)
        return true;
    if (ipv6 != candidate.ipv6)
        return false;
    return ipv6 ? candidate == address : candidate.ipv4() >= low && candidate.ipv4() <= high;
}

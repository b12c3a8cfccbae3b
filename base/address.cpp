#include "base/address.h"

#include <arpa/inet.h>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr uint32_t all_ones = 0xFFFFFFFF;

// A run of digits, perhaps none.
struct Part {
    uint32_t low_bits; // of the number, whatever its length
    bool above(uint32_t limit) const { return overflown || low_bits > limit; }
    bool overflown;
};

Part read_part(const char*& text)
{
    uint64_t value = 0;
    bool overflown = false;
    for (; *text >= '0' && *text <= '9'; text++) {
        value = value * 10 + static_cast<uint64_t>(*text - '0');
        overflown |= value > all_ones;
        value &= all_ones;
    }
    return {static_cast<uint32_t>(value), overflown};
}

uint32_t top_bits(unsigned count)
{
    return all_ones << (32 - count);
}

// Cuts `text` at the first `mark`; returns what follows it, or null without one.
char* cut_at(char* text, char mark)
{
    char* found = strchr(text, mark);
    if (found == nullptr)
        return nullptr;
    *found = '\0';
    return found + 1;
}

bool parse_ipv4_prefix(const char* text, int prefix, uint32_t& low, uint32_t& high)
{
    uint32_t address;
    if (!parse_ipv4(text, address) || prefix < 1 || prefix > 32)
        return false;
    uint32_t mask = top_bits(static_cast<unsigned>(prefix));
    low = address & mask;
    high = low | ~mask;
    return true;
}

} // namespace

bool parse_ipv4(const char* text, uint32_t& address)
{
    uint32_t leading = 0;
    unsigned dots = 0;
    Part part = read_part(text);
    for (; *text == '.'; part = read_part(text)) {
        if (dots == 3 || part.above(255))
            return false;
        leading |= part.low_bits << (24 - 8 * dots);
        dots++;
        text++;
    }
    if (*text != '\0' || (dots > 0 && part.above(all_ones >> 8 * dots)))
        return false;
    address = leading | part.low_bits;
    return true;
}

uint32_t ipv4_or_zero(const char* text)
{
    uint32_t address;
    return parse_ipv4(text, address) ? address : 0;
}

bool parse_ipv4_range(char* text, uint32_t& low, uint32_t& high)
{
    if (strcmp(text, "any") == 0) {
        low = 0;
        high = all_ones; // and on: the word then fails as an address, kept so
    }
    if (char* other_end = cut_at(text, '-'))
        return parse_ipv4(text, low) && parse_ipv4(other_end, high);
    if (char* prefix = cut_at(text, '/'))
        return parse_ipv4_prefix(text, atoi(prefix), low, high);
    uint32_t address;
    if (!parse_ipv4(text, address))
        return false;
    low = high = address;
    return true;
}

bool parse_address_prefix(char* text, AddressPrefix& parsed)
{
    if (memchr(text, '.', strnlen(text, 5)) != nullptr) {
        parsed.family = family_ipv4;
        return parse_ipv4_range(text, parsed.low, parsed.high);
    }
    char* typed = cut_at(text, '/');
    int prefix = typed != nullptr ? atoi(typed) : 128;
    if (prefix < 1 || prefix > 128)
        return false;
    parsed.family = family_ipv6;
    parsed.prefix = static_cast<unsigned>(prefix);
    return inet_pton(AF_INET6, text, parsed.ipv6) == 1;
}

AddressFamily parse_address(const char* text, uint8_t (&address)[16])
{
    memset(address, 0, sizeof address);
    if (strcmp(text, "0.0.0.0") == 0 || strcmp(text, "0") == 0)
        return family_ipv6;
    AddressFamily family = strchr(text, ':') != nullptr ? family_ipv6 : family_ipv4;
    return inet_pton(family == family_ipv6 ? AF_INET6 : AF_INET, text, address) == 1 ? family : family_none;
}

bool parse_mac(const char* text, uint8_t (&mac)[6])
{
    if (strnlen(text, 3) < 3)
        return false;
    auto separated_by = [&](char separator) { return text[1] == separator || text[2] == separator; };
    unsigned b[6];
    int read =
        separated_by(':')   ? sscanf(text, "%x:%x:%x:%x:%x:%x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5])
        : separated_by('-') ? sscanf(text, "%x-%x-%x-%x-%x-%x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5])
        : separated_by('.') ? sscanf(text, "%x.%x.%x.%x.%x.%x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5])
                            : 0;
    if (read != 6)
        return false;
    for (int i = 0; i < 6; i++)
        mac[i] = static_cast<uint8_t>(b[i]);
    return true;
}

char* Ipv4::put(char* at) const
{
    auto byte = [this](int shift) { return static_cast<uint8_t>(address >> shift); };
    return put_row(at, FORMAT("{}.{}.{}.{}"), byte(24), byte(16), byte(8), byte(0));
}

char* Ipv6::put(char* at) const
{
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, sixteen_bytes, text, sizeof text);
    return put_text(at, text);
}

char* Ipv4Range::put(char* at) const
{
    if (low == 0 && high == all_ones)
        return put_text(at, "any");
    if (low == high)
        return Ipv4{low}.put(at);
    const uint32_t host_bits = low ^ high; // all ones at the low end when the range is one prefix
    const bool one_prefix = low < high && (host_bits & (host_bits + 1)) == 0 && (low & host_bits) == 0;
    return one_prefix ? put_row(at, FORMAT("{}/{}"), Ipv4{low}, std::countl_zero(host_bits))
                      : put_row(at, FORMAT("{}-{}"), Ipv4{low}, Ipv4{high});
}

char* MacAddress::put(char* at) const
{
    static constexpr char hex[] = "0123456789abcdef";
    for (size_t i = 0; i < count; i++) {
        if (i > 0)
            *at++ = separator;
        *at++ = hex[bytes[i] >> 4];
        *at++ = hex[bytes[i] & 15];
    }
    return at;
}

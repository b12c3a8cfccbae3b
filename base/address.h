#pragma once
// Addresses, ranges and MACs: what is typed or configured into values, and values into their printed forms.
// IPv4 addresses are numbers in host order. The parsers print nothing; callers have words of their own.
#include <cstdint>

#include "base/format.h"

// The classic forms a, a.b, a.b.c and a.b.c.d (the last part fills the bytes that are left), decimal digits
// and dots only. An empty part counts as 0, and so does the empty text. The form without a dot keeps the low
// 32 bits of whatever is typed.
bool parse_ipv4(const char* text, uint32_t& address);

// The same, with 0 for any failure: cannot tell "0.0.0.0" from an error.
uint32_t ipv4_or_zero(const char* text);

// "a-b" (in any order of a and b), "a/n" with n in 1..32, or one address; `text` is cut in place. "any" sets
// the full range and still fails: callers that ignore the result take it, those that test it refuse it.
bool parse_ipv4_range(char* text, uint32_t& low, uint32_t& high);

enum AddressFamily : int { family_none = -1, family_ipv4 = 0, family_ipv6 = 1 };

struct AddressPrefix {
    AddressFamily family = family_none;
    uint32_t low = 0, high = 0; // IPv4
    uint8_t ipv6[16] = {};      // IPv6
    unsigned prefix = 0;        // IPv6: 1..128
};

// An IPv4 range (a '.' within the first five characters), or an IPv6 address with an optional "/n" (128 when
// it is missing); `text` is cut in place.
bool parse_address_prefix(char* text, AddressPrefix& parsed);

// Takes a text with ':' as IPv6, any other as IPv4 in four parts, whose four bytes then lead `address` in
// network order, the rest zero. "0.0.0.0" and "0" are the all-zero IPv6 address.
AddressFamily parse_address(const char* text, uint8_t (&address)[16]);

// Six hexadecimal numbers between ':', '-' or '.', the same throughout; each gives its low byte.
bool parse_mac(const char* text, uint8_t (&mac)[6]);

// ---- Printed forms (base/format.h)

struct Ipv4 { // a be32 converts by itself
    uint32_t address;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return sizeof "255.255.255.255"; }
};

struct Ipv6 {
    const void* sixteen_bytes;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return 46; } // INET6_ADDRSTRLEN
};

// "any", one address, "a/n" for what is exactly one prefix, or "a-b".
struct Ipv4Range {
    uint32_t low, high;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return 2 * Ipv4::most_bytes(); }
};

// An address of a record that says which family it is of; `ipv4` counts when it is not IPv6.
struct EitherAddress {
    bool is_ipv6;
    const void* sixteen_bytes;
    uint32_t ipv4;
    char* put(char* at) const { return is_ipv6 ? Ipv6{sixteen_bytes}.put(at) : Ipv4{ipv4}.put(at); }
    static constexpr size_t most_bytes() { return Ipv6::most_bytes(); }
};

struct MacAddress {
    const uint8_t* bytes;
    char separator = '-';
    size_t count = 6; // of the bytes that are printed
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return sizeof "00-00-00-00-00-00"; }
};

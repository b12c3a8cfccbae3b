#pragma once
// Addresses, ranges and MACs: what is typed or configured into values, and values into their printed forms.
// IPv4 addresses are numbers in host order. The parsers print nothing; callers have words of their own.
#include <cstdint>

#include "base/wire_types.h"

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

// Printed forms, by value, each for one "%s".
struct Ipv4Text {
    char text[16];
};
struct Ipv6Text {
    char text[46];
};
struct RangeText {
    char text[32];
};
struct MacText {
    char text[18];
};

Ipv4Text ipv4_text(uint32_t address); // "%d.%d.%d.%d"; a be32 converts by itself
Ipv6Text ipv6_text(const void* sixteen_bytes);
// "any", one address, "a/n" for what is exactly one prefix, or "a-b".
RangeText range_text(uint32_t low, uint32_t high);
MacText mac_text(const uint8_t* six_bytes, char separator = '-');

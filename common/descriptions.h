#pragma once
// What operators call a host: the one look-up that reports use, over all local sources.
#include <cstddef>

constexpr size_t description_room = 128; // what reports give ipdesc_get

// Reads all sources from the configuration files: exact addresses and intelligence, ranges, assets. 0, or -1
// with the reason said already; a call that fails at one of them leaves that one empty and the later ones as
// an earlier call left them. A second call loads everything again.
int desc_init();

// The description of an address, cut to `out_size` bytes with its NUL; `out`, or null when there is none.
// family 4: `address` points to an IPv4 address in network order; family 6: to the 6 bytes of a MAC address.
const char* ipdesc_get(const void* address, int family, char* out, size_t out_size);

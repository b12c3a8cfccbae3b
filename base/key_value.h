#pragma once
// key=value lines on standard output. The key is followed by '=' unless it ends with a blank, and the value
// by a line end unless the key begins with one: "ip" makes a line of its own, " ip " goes on with the current
// one.
#include <cstdint>

#include "base/wire_types.h"

void print_value(const char* key, const char* value);

void print_integer(const char* key, int value);
void print_ipv4(const char* key, uint32_t address); // host order
void print_ipv4(const char* key, const be32& address);
void print_ipv6(const char* key, const void* sixteen_bytes);
void print_ipv4_range(const char* key, uint32_t low, uint32_t high);
void print_mac(const char* key, const uint8_t* six_bytes);
void print_time(const char* key, uint32_t seconds);
void print_date(const char* key, uint32_t seconds);
// With their unit and the blank behind it.
void print_byte_size(const char* key, uint64_t value);
void print_count(const char* key, uint64_t value);

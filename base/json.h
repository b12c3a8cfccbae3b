#pragma once
// Members of a JSON object, appended to an output context (nullptr is standard output). Every member after
// the first is marked by a comma in front of its key: ",ip" writes ,"ip":. Texts are written as they are.
// Each writer returns the length of what it appended, or a negative value (see append()).
#include <cstdint>

#include "base/output.h"
#include "base/wire_types.h"

int json_signed(Output* out, const char* key, int32_t value);
int json_unsigned(Output* out, const char* key, uint32_t value);
int json_unsigned64(Output* out, const char* key, uint64_t value);
int json_string(Output* out, const char* key, const char* value); // null is the empty text
int json_ipv4(Output* out, const char* key, uint32_t address);    // host order
int json_ipv4(Output* out, const char* key, const be32& address);
int json_ipv6(Output* out, const char* key, const void* sixteen_bytes);
int json_ipv4_range(Output* out, const char* key, uint32_t low, uint32_t high);
int json_mac(Output* out, const char* key, const uint8_t* six_bytes);
int json_time(Output* out, const char* key, uint32_t seconds);
int json_date(Output* out, const char* key, uint32_t seconds);

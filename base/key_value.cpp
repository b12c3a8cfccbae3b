#include "base/key_value.h"

#include <cstring>

#include "base/address.h"
#include "base/clock.h"
#include "base/output.h"
#include "base/units.h"

void print_value(const char* key, const char* value)
{
    size_t length = strlen(key);
    bool takes_equals = length == 0 || key[length - 1] != ' ';
    bool ends_line = key[0] != ' ';
    print("%s%s%s%s", key, takes_equals ? "=" : "", value, ends_line ? "\n" : "");
}

void print_integer(const char* key, int value)
{
    char digits[12];
    Output text{.buffer = digits, .size = sizeof digits};
    append(&text, "%d", value);
    print_value(key, digits);
}

void print_ipv4(const char* key, uint32_t address)
{
    print_value(key, ipv4_text(address).text);
}

void print_ipv4(const char* key, const be32& address)
{
    print_value(key, ipv4_text(address).text);
}

void print_ipv6(const char* key, const void* sixteen_bytes)
{
    print_value(key, ipv6_text(sixteen_bytes).text);
}

void print_ipv4_range(const char* key, uint32_t low, uint32_t high)
{
    print_value(key, range_text(low, high).text);
}

void print_mac(const char* key, const uint8_t* six_bytes)
{
    print_value(key, mac_text(six_bytes).text);
}

void print_time(const char* key, uint32_t seconds)
{
    print_value(key, time_text(seconds).text);
}

void print_date(const char* key, uint32_t seconds)
{
    print_value(key, date_text(seconds).text);
}

void print_byte_size(const char* key, uint64_t value)
{
    print_value(key, byte_size_text(value).text);
}

void print_count(const char* key, uint64_t value)
{
    print_value(key, count_text(value).text);
}

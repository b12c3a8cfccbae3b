#include "base/json.h"

#include "base/address.h"
#include "base/clock.h"

namespace {

// The comma a key may bring with it, and the name that stands between the quotes.
struct Key {
    const char *lead, *name;
};

Key key_of(const char* key)
{
    return key[0] == ',' ? Key{",", key + 1} : Key{"", key};
}

} // namespace

int json_signed(Output* out, const char* key, int32_t value)
{
    auto [lead, name] = key_of(key);
    return append(out, R"(%s"%s":%d)", lead, name, value);
}

int json_unsigned(Output* out, const char* key, uint32_t value)
{
    auto [lead, name] = key_of(key);
    return append(out, R"(%s"%s":%u)", lead, name, value);
}

int json_unsigned64(Output* out, const char* key, uint64_t value)
{
    auto [lead, name] = key_of(key);
    return append(out, R"(%s"%s":%lu)", lead, name, value);
}

int json_string(Output* out, const char* key, const char* value)
{
    auto [lead, name] = key_of(key);
    return append(out, R"(%s"%s":"%s")", lead, name, value != nullptr ? value : "");
}

int json_ipv4(Output* out, const char* key, uint32_t address)
{
    return json_string(out, key, ipv4_text(address).text);
}

int json_ipv4(Output* out, const char* key, const be32& address)
{
    return json_string(out, key, ipv4_text(address).text);
}

int json_ipv6(Output* out, const char* key, const void* sixteen_bytes)
{
    return json_string(out, key, ipv6_text(sixteen_bytes).text);
}

int json_ipv4_range(Output* out, const char* key, uint32_t low, uint32_t high)
{
    return json_string(out, key, range_text(low, high).text);
}

int json_mac(Output* out, const char* key, const uint8_t* six_bytes)
{
    return json_string(out, key, mac_text(six_bytes).text);
}

int json_time(Output* out, const char* key, uint32_t seconds)
{
    return json_string(out, key, time_text(seconds).text);
}

int json_date(Output* out, const char* key, uint32_t seconds)
{
    return json_string(out, key, date_text(seconds).text);
}

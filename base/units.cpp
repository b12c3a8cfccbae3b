#include "base/units.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

static Hundredths in_units(uint64_t value, uint64_t unit)
{
    return {static_cast<double>(value) / static_cast<double>(unit)};
}

char* ByteSize::put(char* at) const
{
    if (value < 1 << 10)
        return put_row(at, FORMAT("{} "), value);
    if (value < 1 << 20)
        return put_row(at, FORMAT("{}K "), in_units(value, 1 << 10));
    if (value < 1 << 30)
        return put_row(at, FORMAT("{}M "), in_units(value, 1 << 20));
    return put_row(at, FORMAT("{}G "), in_units(value, 1 << 30));
}

char* Count::put(char* at) const
{
    if (value < 1000)
        return put_row(at, FORMAT("{} "), value);
    if (value < 1000000)
        return put_row(at, FORMAT("{}K "), in_units(value, 1000));
    return put_row(at, FORMAT("{}M "), in_units(value, 1000000));
}

uint64_t parse_size(const char* text)
{
    text += strspn(text, " \t\n\v\f\r"); // all that strtoull skips, so that no '-' reaches it
    if (*text == '-')
        return 0;
    errno = 0;
    char* end;
    uint64_t value = strtoull(text, &end, 0);
    if (errno != 0 || end == text)
        return 0;
    if (*end == ' ')
        end++;
    switch (*end) {
    case 'K':
    case 'k':
        return value << 10;
    case 'M':
    case 'm':
        return value << 20;
    case 'G':
    case 'g':
        return value << 30;
    default:
        return value;
    }
}

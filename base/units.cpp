#include "base/units.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/output.h"

int write_byte_size(char* buffer, size_t size, uint64_t value)
{
    auto units = [value](uint64_t unit) { return static_cast<double>(value) / static_cast<double>(unit); };
    if (value < 1 << 10)
        return snprintf(buffer, size, "%lu ", value);
    if (value < 1 << 20)
        return snprintf(buffer, size, "%.2fK ", units(1 << 10));
    if (value < 1 << 30)
        return snprintf(buffer, size, "%.2fM ", units(1 << 20));
    return snprintf(buffer, size, "%.2fG ", units(1 << 30));
}

int write_count(char* buffer, size_t size, uint64_t value)
{
    auto units = [value](uint64_t unit) { return static_cast<double>(value) / static_cast<double>(unit); };
    if (value < 1000)
        return snprintf(buffer, size, "%lu ", value);
    if (value < 1000000)
        return snprintf(buffer, size, "%.2fK ", units(1000));
    return snprintf(buffer, size, "%.2fM ", units(1000000));
}

UnitText byte_size_text(uint64_t value)
{
    UnitText out;
    write_byte_size(out.text, sizeof out.text, value);
    return out;
}

UnitText count_text(uint64_t value)
{
    UnitText out;
    write_count(out.text, sizeof out.text, value);
    return out;
}

void print_byte_size(uint64_t value)
{
    print_text(byte_size_text(value).text);
}

void print_count(uint64_t value)
{
    print_text(count_text(value).text);
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

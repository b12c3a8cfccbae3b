#pragma once
// The current day in local time.
#include <cstdint>

struct Today {
    int64_t first, last; // 00:00:00 and 23:59:59, both of the day
    bool holds(uint32_t seconds) const { return seconds >= first && seconds <= last; }
};

Today today();

#pragma once
// Times are 32-bit UNIX seconds, printed in local time. The zone is looked up once in a run.
#include "base/format.h"

#include <ctime>

tm local_time(int64_t seconds);

// Looks it up anew, for whoever changes TZ while running.
void forget_zone();

// For spans of time: it never jumps.
int64_t steady_milliseconds();

// ---- Printed forms (base/format.h); the year is the full year.

struct LocalTime { // "2026-01-31/23:59:59"
    uint32_t seconds;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return sizeof "2026-01-31/23:59:59"; }
};

struct LocalDate { // "2026-01-31"
    uint32_t seconds;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return sizeof "2026-01-31"; }
};

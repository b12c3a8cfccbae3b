#pragma once
// Times are 32-bit UNIX seconds, printed in local time. The zone is looked up once in a run.
#include <cstdint>
#include <ctime>

tm local_time(int64_t seconds);

// For spans of time: it never jumps.
int64_t steady_milliseconds();

// Printed forms, by value, each for one "%s"; the year is the full year.
struct TimeText {
    char text[20];
};
struct DateText {
    char text[11];
};

TimeText time_text(uint32_t seconds); // "%2d-%02d-%02d/%02d:%02d:%02d"
DateText date_text(uint32_t seconds); // "%2d-%02d-%02d"

#include "reports/security/today.h"

#include "base/clock.h"

namespace {

int64_t at_time_of_day(tm day, int hour, int minute, int second)
{
    day.tm_hour = hour;
    day.tm_min = minute;
    day.tm_sec = second;
    day.tm_isdst = -1; // on the day of a clock change midnight need not be like now
    return mktime(&day);
}

} // namespace

Today today()
{
    tm now = local_time(time(nullptr));
    return {at_time_of_day(now, 0, 0, 0), at_time_of_day(now, 23, 59, 59)};
}

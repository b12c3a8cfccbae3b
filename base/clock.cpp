#include "base/clock.h"

#include <chrono>

namespace {

constexpr int32_t day_seconds = 86400;

// An offset of local time from UTC, the same all day.
struct Day {
    uint32_t number_1; // of the UTC day, counted from 1; 0: not in use
    int32_t offset;    // seconds east
};
Day kept_days[1024];
bool zone_known = false;

char* put_date(char* at, int64_t days)
{
    const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{days}}};
    return put_row(at, FORMAT("{}-{}-{}"), int{date.year()}, TwoDigits{unsigned{date.month()}},
                   TwoDigits{unsigned{date.day()}});
}

// Local seconds since 1970. A time stands in every row of a listing, and the C library takes a while for
// each, so the offsets of the days that were asked for are kept; on a day of a clock change every time is
// looked up.
int64_t local_seconds(uint32_t seconds)
{
    const uint32_t number = seconds / day_seconds;
    Day& day = kept_days[number % std::size(kept_days)];
    if (day.number_1 == number + 1)
        return int64_t{seconds} + day.offset;
    const int64_t first = int64_t{number} * day_seconds;
    const long offset = local_time(first).tm_gmtoff;
    if (offset != local_time(first + day_seconds - 1).tm_gmtoff)
        return seconds + local_time(seconds).tm_gmtoff;
    day = {number + 1, static_cast<int32_t>(offset)};
    return int64_t{seconds} + offset;
}

// Days since 1970 and what is left of the day; times before 1970 are possible west of Greenwich.
struct Local {
    int64_t days;
    unsigned second;
};

Local local_day(uint32_t seconds)
{
    const int64_t local = local_seconds(seconds) + day_seconds; // not below 0
    return {local / day_seconds - 1, static_cast<unsigned>(local % day_seconds)};
}

} // namespace

tm local_time(int64_t seconds)
{
    // localtime() would ask the kernel about the zone file on every call.
    if (!zone_known) {
        tzset();
        zone_known = true;
    }
    time_t when = seconds;
    tm local{};
    localtime_r(&when, &local);
    return local;
}

void forget_zone()
{
    zone_known = false;
    memset(kept_days, 0, sizeof kept_days);
}

int64_t steady_milliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

char* LocalTime::put(char* at) const
{
    const auto [days, second] = local_day(seconds);
    return put_row(put_date(at, days), FORMAT("/{}:{}:{}"), TwoDigits{second / 3600},
                   TwoDigits{second / 60 % 60}, TwoDigits{second % 60});
}

char* LocalDate::put(char* at) const
{
    return put_date(at, local_day(seconds).days);
}

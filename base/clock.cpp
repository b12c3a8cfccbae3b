#include "base/clock.h"

#include <chrono>

namespace {

constexpr int64_t day_seconds = 86400;

// Of each UTC day, once it was asked for: what makes a time of that day local, counted from `lead` days
// before 1970, so that it is neither negative nor 0, whatever 32 bits of offset a zone file holds. 0: not
// known. Only what is used of it becomes memory.
int64_t kept_offsets[UINT32_MAX / day_seconds + 1];
constexpr int64_t lead = (int64_t{1} << 31) / day_seconds + 1;
bool zone_known = false;

char* put_date(char* at, int64_t days)
{
    const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{days}}};
    return put_row(at, FORMAT("{}-{}-{}"), int{date.year()}, TwoDigits{unsigned{date.month()}},
                   TwoDigits{unsigned{date.day()}});
}

// Local seconds since `lead` days before 1970. A time stands in every row of a listing, and the C library
// takes a while for each, so the offsets of the days that were asked for are kept; on a day of a clock change
// every time is looked up.
int64_t local_seconds(uint32_t seconds)
{
    int64_t& kept = kept_offsets[seconds / day_seconds];
    if (kept != 0)
        return seconds + kept;
    const int64_t first = seconds - seconds % day_seconds;
    const long offset = local_time(first).tm_gmtoff;
    if (offset != local_time(first + day_seconds - 1).tm_gmtoff)
        return seconds + local_time(seconds).tm_gmtoff + lead * day_seconds;
    kept = offset + lead * day_seconds;
    return seconds + kept;
}

// Days since 1970 and what is left of the day; times before 1970 are possible west of Greenwich.
struct Local {
    int64_t days;
    unsigned second;
};

Local local_day(uint32_t seconds)
{
    const int64_t local = local_seconds(seconds);
    return {local / day_seconds - lead, static_cast<unsigned>(local % day_seconds)};
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
    memset(kept_offsets, 0, sizeof kept_offsets);
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

#include "base/clock.h"

namespace {

// The years of 32-bit seconds have four digits.
char* put_date(char* at, const tm& local)
{
    return put_row(at, FORMAT("{}-{}-{}"), local.tm_year + 1900, two_digits(local.tm_mon + 1),
                   two_digits(local.tm_mday));
}

} // namespace

int64_t steady_milliseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

tm local_time(int64_t seconds)
{
    // localtime() would ask the kernel about the zone file on every call.
    static bool zone_known = false;
    if (!zone_known) {
        tzset();
        zone_known = true;
    }
    time_t when = seconds;
    tm local{};
    localtime_r(&when, &local);
    return local;
}

char* LocalTime::put(char* at) const
{
    const tm local = local_time(seconds);
    return put_row(put_date(at, local), FORMAT("/{}:{}:{}"), two_digits(local.tm_hour),
                   two_digits(local.tm_min), two_digits(local.tm_sec));
}

char* LocalDate::put(char* at) const
{
    return put_date(at, local_time(seconds));
}

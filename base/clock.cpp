#include "base/clock.h"

#include "base/digits.h"

namespace {

// Writes the date; the years of 32-bit seconds have four digits, so the minimum width never shows.
char* put_date(char* at, const tm& local)
{
    int year = local.tm_year + 1900;
    at = put_two_digits(at, year / 100);
    at = put_two_digits(at, year);
    *at++ = '-';
    at = put_two_digits(at, local.tm_mon + 1);
    *at++ = '-';
    return put_two_digits(at, local.tm_mday);
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

TimeText time_text(uint32_t seconds)
{
    tm local = local_time(seconds);
    TimeText out;
    char* at = put_date(out.text, local);
    *at++ = '/';
    at = put_two_digits(at, local.tm_hour);
    *at++ = ':';
    at = put_two_digits(at, local.tm_min);
    *at++ = ':';
    *put_two_digits(at, local.tm_sec) = '\0';
    return out;
}

DateText date_text(uint32_t seconds)
{
    DateText out;
    *put_date(out.text, local_time(seconds)) = '\0';
    return out;
}

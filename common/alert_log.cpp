#include "common/alert_log.h"

#include <climits>
#include <cstdlib>
#include <ctime>

#include "base/clock.h"
#include "base/output.h"
#include "link/places.h"

namespace {

constexpr int64_t day = 86400;

struct {
    FILE* stream = nullptr;
    int64_t opened = 0;
} alert_log;

void open_for(int64_t now)
{
    tm local = local_time(now);
    const char* directory = secure_getenv("RAMLOG"); // taken as given
    char path[PATH_MAX];
    Output name{.buffer = path, .size = sizeof path};
    int length = append(&name, FORMAT("{}/alert_{}.{}.{}.log"),
                        text_of(directory != nullptr ? directory : place::alert_log_directory),
                        local.tm_year + 1900, two_digits(local.tm_mon + 1), two_digits(local.tm_mday));
    alert_log.opened = now;
    if (length > 0 && static_cast<size_t>(length) < sizeof path)
        alert_log.stream = fopen(directory != nullptr ? path : placed(path).text, "ae");
}

} // namespace

void write_alert_at(int64_t now, const char* message)
{
    if (alert_log.stream != nullptr && now / day != alert_log.opened / day) {
        fclose(alert_log.stream);
        alert_log.stream = nullptr;
    }
    if (alert_log.stream == nullptr)
        open_for(now);
    if (alert_log.stream == nullptr)
        return;
    tm local = local_time(now);
    Output line{.stream = alert_log.stream};
    append(&line, FORMAT("{}.{}.{}/{}:{}:{} {}\n"), local.tm_year + 1900, two_digits(local.tm_mon + 1),
           two_digits(local.tm_mday), two_digits(local.tm_hour), two_digits(local.tm_min),
           two_digits(local.tm_sec), text_of(message));
    fflush(alert_log.stream);
}

void write_alert(const char* message)
{
    write_alert_at(time(nullptr), message);
}

#include "cli/timeout.h"

#include "cli/signals.h"

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string_view>

static bool is_number(const char* text)
{
    const std::string_view digits = text;
    return !digits.empty() && digits.size() <= 4 &&
           digits.find_first_not_of("0123456789") == std::string_view::npos;
}

// A timer of its own: the one that breaks a write (base/output) stays free.
static bool stop_after(time_t seconds)
{
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGTERM;
    timer_t timer;
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0)
        return false;
    itimerspec once{};
    once.it_value.tv_sec = seconds;
    return timer_settime(timer, 0, &once, nullptr) == 0;
}

bool start_timeout()
{
    constexpr int seconds_max = 3600;
    const char* value = secure_getenv("VIGIL_TIMEOUT");
    if (value == nullptr)
        return true;
    const int seconds = is_number(value) ? atoi(value) : 0;
    if (seconds < 1 || seconds > seconds_max)
        return false;
    install_signal_handlers(); // in every form of the command line: a reader that does not read holds any run
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    sigprocmask(SIG_UNBLOCK, &stop, nullptr); // whoever started us may hold it back
    return stop_after(seconds);
}

#include "base/stop_signals.h"

#include <algorithm>

static bool is_ignored(int signal)
{
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

static sigset_t all_stop_signals()
{
    sigset_t set;
    sigemptyset(&set);
    for (int signal : stop_signals)
        sigaddset(&set, signal);
    return set;
}

static sigset_t hold(const sigset_t& set)
{
    sigset_t before;
    sigprocmask(SIG_BLOCK, &set, &before);
    return before;
}

void handle_stop_signals(void (*handler)(int, siginfo_t*, void*))
{
    struct sigaction action {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    action.sa_mask = all_stop_signals(); // a second one does not interrupt the handler
    for (int signal : stop_signals)
        if (signal == SIGTERM || signal == SIGINT || !is_ignored(signal))
            sigaction(signal, &action, nullptr);
}

sigset_t hold_stop_signals()
{
    sigset_t set = all_stop_signals();
    sigaddset(&set, SIGTSTP);
    sigaddset(&set, SIGALRM);
    return hold(set);
}

sigset_t hold_every_signal()
{
    sigset_t set;
    sigfillset(&set);
    return hold(set);
}

void restore_signals(const sigset_t& before)
{
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

bool stop_signal_waits()
{
    sigset_t waiting;
    if (sigpending(&waiting) != 0)
        return false;
    auto ends_the_run = [&](int signal) { // an ignored one waits too while held
        return sigismember(&waiting, signal) == 1 && !is_ignored(signal);
    };
    return std::ranges::any_of(stop_signals, ends_the_run) || ends_the_run(SIGALRM);
}

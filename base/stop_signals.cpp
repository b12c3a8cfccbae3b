#include "base/stop_signals.h"

sigset_t hold_stop_signals()
{
    sigset_t stop, before;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    sigaddset(&stop, SIGINT);
    sigprocmask(SIG_BLOCK, &stop, &before);
    return before;
}

void restore_signals(const sigset_t& before)
{
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

bool stop_signal_waits()
{
    sigset_t waiting;
    return sigpending(&waiting) == 0 &&
           (sigismember(&waiting, SIGTERM) == 1 || sigismember(&waiting, SIGINT) == 1);
}

#include "base/stop_signals.h"

#include <gtest/gtest.h>

namespace {

volatile sig_atomic_t came = 0;

void on_signal(int signal)
{
    came = signal;
}

// What is held back comes at the end; what is ignored, as under nohup, neither comes nor counts.
TEST(StopSignals, WaitWhileHeldUnlessIgnored)
{
    for (auto [signal, waits] : {std::pair{SIGTERM, true}, std::pair{SIGINT, true}, std::pair{SIGHUP, true}, std::pair{SIGQUIT, true},
                                 std::pair{SIGALRM, true}, std::pair{SIGTSTP, false}})
        for (bool ignored : {false, true}) {
            ::signal(signal, ignored ? SIG_IGN : on_signal);
            came = 0;
            const sigset_t before = hold_stop_signals();
            EXPECT_FALSE(stop_signal_waits());
            raise(signal);
            EXPECT_EQ(waits && !ignored, stop_signal_waits()) << signal << ignored;
            EXPECT_EQ(0, came);
            restore_signals(before);
            EXPECT_EQ(ignored ? 0 : signal, came);
            ::signal(signal, SIG_DFL);
        }
}

} // namespace

#include "cli/signals.h"

#include "base/output.h"
#include "link/rpc_session.h"

#include <csignal>

// The handlers release socket and segment and nothing else: unloading the dictionary library or running exit
// here hangs when the signal interrupted the loader, the allocator or stdio; the process ends at once anyway.

static void on_fault(int)
{
    rpc_close_in_signal_handler();
    signal(SIGSEGV, SIG_DFL); // the access repeats and ends the process
}

static void on_stop(int)
{
    rpc_close_in_signal_handler();
    end_run_in_signal_handler(1);
}

void ignore_broken_pipes()
{
    signal(SIGPIPE, SIG_IGN);
}

void install_signal_handlers()
{
    struct sigaction action {};
    action.sa_flags = SA_RESTART;
    action.sa_handler = on_fault;
    sigaction(SIGSEGV, &action, nullptr);
    action.sa_flags = 0;                 // a write is interrupted, so that it tells how much of it went out
    sigaddset(&action.sa_mask, SIGTERM); // the second stop signal does not interrupt the first one's flush
    sigaddset(&action.sa_mask, SIGINT);
    action.sa_handler = on_stop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

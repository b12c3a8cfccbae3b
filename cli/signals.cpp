#include "cli/signals.h"

#include "base/output.h"
#include "base/stop_signals.h"
#include "link/rpc_session.h"

#include <csignal>

// The handlers release socket and segment at most: unloading the dictionary library or running exit here
// hangs when the signal interrupted the loader, the allocator or stdio; the process ends at once anyway.

static void handle(int signal, void (*handler)(int))
{
    struct sigaction action {};
    action.sa_flags = SA_RESTART;
    action.sa_handler = handler;
    sigaction(signal, &action, nullptr);
}

static void on_fault(int)
{
    rpc_close(false);
    handle(SIGSEGV, SIG_DFL); // the access repeats and ends the process
}

static void on_stop(int, siginfo_t* info, void*)
{
    rpc_close_but_for_reading();
    end_run_in_signal_handler(1, info->si_code == SI_TIMER ? "timeout" : "stopped");
}

void ignore_write_signals()
{
    handle(SIGPIPE, SIG_IGN);
    handle(SIGXFSZ, SIG_IGN);
}

void install_signal_handlers()
{
    handle(SIGSEGV, on_fault);
    handle_stop_signals(on_stop);
}

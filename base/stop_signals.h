#pragma once
// The signals that stop a run, and how they are held back around what must not be left half done.
#include <csignal>

inline constexpr int stop_signals[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT};

// Has them call `handler`, one at a time; they interrupt system calls. SIGHUP and SIGQUIT stay ignored when
// they are so already, as under nohup.
void handle_stop_signals(void (*handler)(int, siginfo_t*, void*));

// Holds them back, and SIGTSTP and SIGALRM, which halt or end a run in their own way; returns the mask to go
// back to.
sigset_t hold_stop_signals();

// Holds back every signal there is; returns the mask to go back to.
sigset_t hold_every_signal();

// Goes back to `before`; a stop signal that waits ends the run here.
void restore_signals(const sigset_t& before);

// True when a stop signal, or SIGALRM, has come while held back and is not ignored.
bool stop_signal_waits();

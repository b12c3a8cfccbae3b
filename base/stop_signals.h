#pragma once
// SIGTERM and SIGINT, held back around what must not be left half done.
#include <csignal>

// Holds them back; returns the mask to go back to.
sigset_t hold_stop_signals();

// Goes back to `before`; a stop signal that waits ends the run here.
void restore_signals(const sigset_t& before);

// True when one of them has come while held back.
bool stop_signal_waits();

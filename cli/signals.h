#pragma once
// A reader that goes away shows as a failed write, in every form of the command line.
void ignore_broken_pipes();

// Handlers of a run that talks to a daemon: SIGSEGV, SIGTERM and SIGINT close the session.
void install_signal_handlers();

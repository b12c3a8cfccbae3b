#pragma once
// A reader that goes away and a file size limit show as failed writes, in every form of the command line.
void ignore_write_signals();

// Handlers of a run that talks to a daemon: SIGSEGV and the stop signals close the session.
void install_signal_handlers();

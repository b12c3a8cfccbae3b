#pragma once
// Dispositions of a run that talks to a daemon: SIGPIPE ignored; SIGSEGV, SIGTERM and SIGINT close the
// session.
void install_signal_handlers();

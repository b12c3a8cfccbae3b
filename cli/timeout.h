#pragma once
// Bounds the time that a run may take: VIGIL_TIMEOUT, in seconds, 1 to 3600; without it there is no bound.
// When the time is over the run is stopped as by SIGTERM. False when the value is anything else.
bool start_timeout();

#pragma once
// The appliance's alert log: one file a day in the directory that RAMLOG in the environment names, or else in
// the appliance's own.
#include <cstdint>

// Appends one line with the local date and time in front, and flushes it. A message that cannot be written is
// dropped silently. The file stays open for as long as the UTC day does, while its name carries the local
// date: around local midnight a line may go to the file of the day before, kept so.
void write_alert(const char* message);

// The same as if it were `now` (UNIX seconds).
void write_alert_at(int64_t now, const char* message);

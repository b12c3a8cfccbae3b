#pragma once
// Counts over the logged events: all, of today, per level, type, interface and malicious object.
#include "reports/security/today.h"
#include "wire/event.h"

// The pools; to be called first. 0, or -1 with the message printed.
int event_summary_start();
void event_summary_count(const EventLogRecord& event, const Today& today);
void event_summary_print();

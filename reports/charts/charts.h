#pragma once
// Time series of traffic counters.
#include "common/handler.h"

Handler chart_rowlist, chart_dump, chart_timesum;

#pragma once
#include "common/handler.h"

// Reports whose record layout nobody has stated: sends nothing, prints "NOT_SUPPORTED" as a line, -1.
Handler not_supported;

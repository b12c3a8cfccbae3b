#pragma once
// One session as one line of text.
#include "wire/session.h"

struct SessionLine {
    uint32_t now = 0;            // the age of a session counts up to here
    bool english = false;        // the primary application name, otherwise the secondary
    bool only_rexmitted = false; // sessions without retransmissions print nothing
};

void print_session(const SessionRecord& r, const SessionLine& line);

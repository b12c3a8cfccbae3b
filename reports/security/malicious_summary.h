#pragma once
// Counts over the malicious-activity log: per level, threat type, address, domain and area.
#include "wire/malicious.h"

// What was asked for; non-zero: wanted.
struct SummaryChoice {
    int levels = 0, types = 0, sources = 0, destinations = 0, domains = 0, areas = 0;
};

// The GBK word of a risk level.
std::string_view level_word(uint32_t level);

// Counts one record; the order of the calls is the order in which keys are listed later.
void summarise(const SummaryChoice& choice, const MaliciousRecord& record);

// How many words chose them; sources and destinations are one summary that two words may choose.
size_t words_in(const SummaryChoice& choice);

// The summaries one after the other, each a document of its own with nothing in between.
void print_summaries(const SummaryChoice& choice);

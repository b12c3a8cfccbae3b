#pragma once
// Sizes and counts with their units, each followed by one blank.
#include "base/format.h"

// In powers of 1024: "%lu ", "%.2fK ", "%.2fM ", "%.2fG ".
struct ByteSize {
    uint64_t value;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return Hundredths::most_bytes() + sizeof "G "; }
};

// In powers of 1000: "%lu ", "%.2fK ", "%.2fM "; there is no G.
struct Count {
    uint64_t value;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return Hundredths::most_bytes() + sizeof "M "; }
};

// A size as it is typed: a number (decimal, 0x, or octal after a leading 0), at most one blank, and K, M or G
// in either case for powers of 1024. 0 for a leading '-', for no number and for one that does not fit; what
// follows the number is otherwise ignored.
uint64_t parse_size(const char* text);

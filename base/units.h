#pragma once
// Sizes and counts with their units, each followed by one blank.
#include <cstddef>
#include <cstdint>

struct UnitText {
    char text[32];
};

// In powers of 1024: "%lu ", "%.2fK ", "%.2fM ", "%.2fG ".
UnitText byte_size_text(uint64_t value);
// In powers of 1000: "%lu ", "%.2fK ", "%.2fM "; there is no G.
UnitText count_text(uint64_t value);

// The same to standard output.
void print_byte_size(uint64_t value);
void print_count(uint64_t value);

// The same into `size` bytes; returns the length of the whole text, as snprintf does.
int write_byte_size(char* buffer, size_t size, uint64_t value);
int write_count(char* buffer, size_t size, uint64_t value);

// A size as it is typed: a number (decimal, 0x, or octal after a leading 0), at most one blank, and K, M or G
// in either case for powers of 1024. 0 for a leading '-', for no number and for one that does not fit; what
// follows the number is otherwise ignored.
uint64_t parse_size(const char* text);

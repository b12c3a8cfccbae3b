#pragma once
// Conversions between UTF-8 and GB2312 (two bytes a character, both with the top bit set) for the short texts
// of export files. Neither terminates its output: the caller clears the buffer first. Both return false, and
// do nothing, for a null pointer or a size or length below 1; what cannot be converted only shortens the
// text.
#include <cstddef>
#include <cstdint>
#include <span>

// At most 256 characters. Bytes 32 to 128 are characters themselves; a pair without a character, a control
// byte and half a pair end the text. Prints the trace lines of encode_utf8().
bool gb2312_to_utf8(char* output, int output_size, const char* input, int input_length);

// At most 511 characters of 1 to 6 bytes, of which 16 bits are kept; the text ends before a malformed
// sequence. A character without a code leaves its two bytes of the output as they were.
bool utf8_to_gb2312(char* output, int output_size, const char* input, int input_length);

// Writes at most 1024 characters, up to one that does not fit, and returns the length. A sequence of 5 or 6
// bytes takes its room but is not written. For every character "w=" with its number and "len=" with its
// length go to standard output twice each: left from somebody's search for a fault, and kept.
size_t encode_utf8(std::span<const uint32_t> characters, std::span<char> output);

#pragma once
// Free text: cleaning, escaping, checking.
#include <cstddef>
#include <span>
#include <string_view>

// The first character that is not a blank.
char* skip_blanks(char* text);

// Cuts the text, in place, at its first CR or LF.
void cut_line_end(char* text);

// Turns every TAB, CR and LF into a blank and cuts trailing blanks, in place; returns the first character
// that is not a blank.
char* clean_text(char* text);

// Skips leading blanks and cuts, in place, at the first non-printing character (anything but ASCII 32..126).
char* printable_text(char* text);

// Makes one blank-separated argument of free text: TAB "%T", LF "%N", form feed "%C", CR "%R", character 24
// "%8", blank "%S", round brackets become square ones, the rest is copied ('%' too). The result is terminated
// and ends before the first character that does not fit; `out` should hold twice the text and the terminator.
// Returns the length of the result.
size_t escape_token(std::string_view text, std::span<char> out);

// Bytes that follow the lead byte of a UTF-8 sequence (0 for ASCII), or -1 for a byte that cannot lead one.
int utf8_following_bytes(unsigned char lead);

// True when the bytes up to `length` or a NUL are complete UTF-8 sequences of 1 to 6 bytes.
bool is_utf8(const char* text, size_t length);

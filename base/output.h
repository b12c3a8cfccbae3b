#pragma once
// All text that leaves the run. Standard output has one buffer of our own, so that a stop signal can write
// out what was printed so far without touching stdio, and so that a row costs one formatting call and nothing
// else.
#include <cstddef>
#include <cstdio>
#include <string_view>

// Where an appending printer writes: nullptr stands for standard output; otherwise a stream, or, when
// `stream` is null, a bounded text buffer, which is always terminated and silently keeps what fits.
struct Output {
    FILE* stream = nullptr;
    char* buffer = nullptr;
    size_t size = 0; // bytes of `buffer`, the terminator included
    size_t used = 0; // bytes of text in `buffer`, the terminator not included
};

// Appends formatted text; returns the length the whole text has (as vsnprintf does), or a negative value.
[[gnu::format(printf, 2, 3)]] int append(Output* out, const char* format, ...);

// Standard output.
[[gnu::format(printf, 1, 2)]] void print(const char* format, ...);
void print_text(std::string_view text); // the bytes as they are
void print_line(std::string_view text); // the bytes and a line feed
inline void print_char(char c)
{
    print_text({&c, 1});
}
// A line that says why a command fails. Always -1, for `return`.
int refuse(std::string_view token);

// Writes out what is buffered. Returns false when any byte since the start of the run was lost.
bool flush_output();

// True when a byte is known to be lost: a long output need not go on.
bool output_lost();

// True when whoever read standard output has gone, written to or not. A system call each time.
bool reader_is_gone();

// For the handler of a stop signal (see handle_stop_signals()): writes out what is buffered and ends the run.
// Async-signal-safe, gives up after about half a second on a reader that does not read. Returns only when the
// signal interrupted a write: the run then ends as soon as that returns.
void end_run_in_signal_handler(int status);

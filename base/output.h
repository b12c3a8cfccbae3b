#pragma once
// All text that leaves the run. Standard output has one buffer of our own, so that a stop signal can write
// out what was printed so far without touching stdio, and so that a row costs its formatting and nothing
// else.
#include "base/form.h"

#include <cstdio>
#include <cstdlib>

// Where an appending printer writes: nullptr stands for standard output; otherwise a stream, or, when
// `stream` is null, a bounded text buffer, which is always terminated and silently keeps what fits.
struct Output {
    FILE* stream = nullptr;
    char* buffer = nullptr;
    size_t size = 0; // bytes of `buffer`, the terminator included
    size_t used = 0; // bytes of text in `buffer`, the terminator not included
};

// Appends the bytes as they are; returns their number, or a negative value when there is no place at all.
int append_text(Output* out, std::string_view text);

// Appends a formatted text; returns the length the whole text has, or a negative value.
template <RowFormat Format, class... Values> int append(Output* out, Format format, const Values&... values);

// ---- Standard output

// A row; see base/format.h. A row whose memory cannot be had is lost output.
template <RowFormat Format, class... Values> void print(Format format, const Values&... values);

void print_text(std::string_view text); // the bytes as they are

// Writes out what is buffered. Returns false when any byte since the start of the run was lost.
bool flush_output();

// True when a byte is known to be lost: a long output need not go on.
bool output_lost();

// True when whoever read standard output has gone, written to or not. A system call each time.
bool reader_is_gone();

// For the handler of a stop signal (see handle_stop_signals()): writes out what is buffered and ends the run.
// Async-signal-safe, gives up after about half a second on a reader that does not read. Returns only when the
// signal interrupted a write: the run then ends as soon as that returns.
// `reason` says why in the forms that can.
void end_run_in_signal_handler(int status, const char* reason);

// ---- What the templates stand on

namespace output_detail {

constexpr size_t buffer_size = 64 * 1024;
extern char buffer[buffer_size];
// buffer[flushed, filled) is printed but not yet written. The signal handler reads both.
extern volatile size_t filled, flushed;

// While one lives, a stop signal leaves the end of the run to its destructor.
struct Held {
    Held();
    ~Held();
    Held(const Held&) = delete;
};

// Room for a row that does not fit behind what is buffered: room made in the buffer, or memory of its own.
// Null when there is none; the row is counted as lost.
char* make_room(size_t size);
// Something could not be printed for want of memory.
void lose_output();
// Prints a row that stands in memory of its own.
void print_long_row(char* row, char* end);

inline char* room_for(size_t size)
{
    return size <= buffer_size - filled ? buffer + filled : make_room(size);
}
// Takes over the row [row, end) that room_for(size) had room for.
inline void take_row(char* row, char* end, size_t size)
{
    if (size <= buffer_size)
        filled = static_cast<size_t>(end - buffer);
    else
        print_long_row(row, end);
}

} // namespace output_detail

template <RowFormat Format, class... Values> void print(Format format, const Values&... values)
{
    const size_t size = room_of(format, values...);
    char* row = output_detail::room_for(size);
    if (row != nullptr)
        output_detail::take_row(row, put_row(row, format, values...), size);
}

template <RowFormat Format, class... Values> int append(Output* out, Format format, const Values&... values)
{
    char usual[1024];
    const size_t size = room_of(format, values...);
    char* row = size <= sizeof usual ? usual : static_cast<char*>(malloc(size));
    if (row == nullptr)
        return -1;
    const form::Verbatim as_it_is;
    char* end = put_row(row, format, values...);
    int length = append_text(out, {row, static_cast<size_t>(end - row)});
    if (row != usual)
        free(row);
    return length;
}

// Formats into an array, which is always terminated and silently keeps what fits.
template <size_t n, RowFormat Format, class... Values>
void format_text(char (&text)[n], Format format, const Values&... values)
{
    Output out{.buffer = text, .size = n};
    text[0] = '\0';
    append(&out, format, values...);
}

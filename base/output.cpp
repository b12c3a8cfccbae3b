#include "base/output.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

namespace output_detail {
char buffer[buffer_size];
volatile size_t filled = 0, flushed = 0;
} // namespace output_detail

using output_detail::buffer, output_detail::buffer_size, output_detail::filled, output_detail::flushed;

namespace {

bool lost = false;
// A stop signal that finds a write under way cannot know how much of it went out: the run then ends where
// the write returns. One that finds the account of the buffer half made ends it where that is done.
volatile bool writing = false;
volatile int holding = 0;
volatile bool stop_is_due = false;
volatile int stop_status = 0;
const char* volatile stop_reason = "";

// Writes what a reader takes; false when it is not all. About half a second of patience for the whole end.
bool write_patiently(const char* at, size_t left, int& patience)
{
    constexpr size_t piece_size = 4096; // a pipe that reports POLLOUT takes this much without blocking
    while (left > 0 && patience > 0) {
        pollfd out{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
        if (poll(&out, 1, 100) <= 0) {
            patience--;
            continue;
        }
        ssize_t n = write(STDOUT_FILENO, at, left < piece_size ? left : piece_size);
        if (n == 0 || (n < 0 && errno != EINTR && errno != EAGAIN))
            return false;
        if (n < 0) {
            patience--;
            continue;
        }
        at += n;
        left -= static_cast<size_t>(n);
    }
    return left == 0;
}

// What is whole goes out, and what makes it complete; if a row is out in part already, all that there is.
[[noreturn]] void write_out_and_exit()
{
    int patience = 5;
    const size_t whole = form::whole(filled);
    const bool completes = flushed <= whole;
    const size_t end = completes ? whole : filled;
    if (write_patiently(buffer + flushed, end - flushed, patience) && completes) {
        const std::string_view words = form::last_words(stop_reason, stop_status);
        write_patiently(words.data(), words.size(), patience);
    }
    _exit(stop_status);
}

void end_at_a_due_stop()
{
    if (!stop_is_due)
        return;
    writing = true; // one more signal leaves the end to us
    itimerval none{};
    setitimer(ITIMER_REAL, &none, nullptr);
    write_out_and_exit();
}

void on_tick(int) {}

// Interrupts the write that a stop signal found under way, also when it had not quite begun.
void keep_interrupting()
{
    struct sigaction action {};
    action.sa_handler = on_tick; // without SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    itimerval ticks{
        .it_interval = {.tv_sec = 0, .tv_usec = 20000},
          .it_value = {.tv_sec = 0, .tv_usec = 20000}
    };
    setitimer(ITIMER_REAL, &ticks, nullptr);
}

// Writes out the whole rows that are buffered, or everything; what cannot be written is dropped and
// remembered as lost.
void drain(bool rows_in_part)
{
    const size_t end = rows_in_part ? filled : form::whole(filled);
    while (flushed < end) {
        writing = true;
        ssize_t n = write(STDOUT_FILENO, buffer + flushed, end - flushed);
        if (n > 0)
            flushed = flushed + static_cast<size_t>(n);
        writing = false;
        end_at_a_due_stop();
        if (n > 0)
            continue;
        if (n < 0 && errno == EAGAIN) {
            pollfd out{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
            poll(&out, 1, -1);
        } else if (n == 0 || errno != EINTR) {
            lost = true;
            break;
        }
    }
    const output_detail::Held account;
    memmove(buffer, buffer + end, filled - end);
    filled = filled - end;
    flushed = 0;
    form::moved(end);
}

int append_to_buffer(Output& out, std::string_view text)
{
    if (out.buffer == nullptr || out.used >= out.size)
        return -1;
    const size_t room = out.size - out.used - 1;
    const size_t kept = text.size() < room ? text.size() : room;
    memcpy(out.buffer + out.used, text.data(), kept);
    out.used += kept;
    out.buffer[out.used] = '\0';
    return static_cast<int>(text.size());
}

int append_to_stream(FILE* stream, std::string_view text)
{
    return fwrite(text.data(), 1, text.size(), stream) == text.size() ? static_cast<int>(text.size()) : -1;
}

} // namespace

output_detail::Held::Held()
{
    holding = holding + 1;
}

output_detail::Held::~Held()
{
    holding = holding - 1;
    if (holding == 0 && !writing)
        end_at_a_due_stop();
}

char* output_detail::make_room(size_t size)
{
    drain(false);
    if (size > buffer_size - filled)
        drain(true);
    if (size <= buffer_size)
        return buffer + filled;
    char* row = static_cast<char*>(malloc(size));
    if (row == nullptr)
        lose_output();
    return row;
}

void output_detail::lose_output()
{
    lost = true;
}

void output_detail::print_long_row(char* row, char* end)
{
    print_text({row, static_cast<size_t>(end - row)});
    free(row);
}

int append_text(Output* out, std::string_view text)
{
    if (out != nullptr)
        return out->stream != nullptr ? append_to_stream(out->stream, text) : append_to_buffer(*out, text);
    print_text(text);
    return static_cast<int>(text.size());
}

void print_text(std::string_view text)
{
    while (!text.empty()) {
        if (filled == buffer_size)
            output_detail::make_room(1);
        size_t room = buffer_size - filled;
        size_t piece = text.size() < room ? text.size() : room;
        memcpy(buffer + filled, text.data(), piece);
        filled = filled + piece;
        text.remove_prefix(piece);
    }
}

bool flush_output()
{
    drain(true);
    return !lost;
}

bool output_lost()
{
    return lost;
}

bool reader_is_gone()
{
    pollfd out{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    return poll(&out, 1, 0) > 0 && (out.revents & (POLLERR | POLLHUP)) != 0;
}

void end_run_in_signal_handler(int status, const char* reason)
{
    stop_status = status;
    stop_reason = reason;
    if (!writing && holding == 0)
        write_out_and_exit();
    stop_is_due = true;
    keep_interrupting();
}

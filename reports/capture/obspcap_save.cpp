// obspcap save: takes one full block out of the capture ring and writes it to a file.
#include "base/clock.h"
#include "base/document.h"
#include "base/stop_signals.h"
#include "common/arguments.h"
#include "reports/capture/capture.h"
#include "reports/capture/capture_ring.h"
#include "reports/capture/typed_place.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool same_file(const char* one, const char* other)
{
    struct stat a, b;
    return stat(one, &a) == 0 && stat(other, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool is_standard_output(const char* path)
{
    struct stat a, b;
    return stat(path, &a) == 0 && fstat(STDOUT_FILENO, &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

bool is_fifo(const char* path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISFIFO(status.st_mode);
}

// Writing may take as long as it needs, but the stop signals are held back while the slot is taken: from the
// first one on half a second, and no more.
class Patience {
public:
    bool lasts()
    {
        if (!stop_signal_waits())
            return true;
        const int64_t now = steady_milliseconds();
        if (until_ == 0)
            until_ = now + 500;
        return now < until_;
    }

private:
    int64_t until_ = 0; // once the first has come
};

// Until the output takes more, or a little while; without a file just that.
void pause_for(int file)
{
    pollfd ready{.fd = file, .events = POLLOUT, .revents = 0};
    poll(&ready, 1, 20);
}

// The output as it is, or -1. A FIFO that nobody reads yet is waited for.
int open_output(const char* path, Patience& patience)
{
    for (;;) {
        int file = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
        bool unread = file < 0 && errno == ENXIO && is_fifo(path);
        if (!unread || !patience.lasts())
            return file;
        pause_for(-1);
    }
}

// Cuts an older file to nothing, in pieces too: a gigabyte takes the kernel a second.
bool empty_output(int file, Patience& patience)
{
    constexpr off_t piece = 64 << 20;
    struct stat status;
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode))
        return true;
    for (off_t size = status.st_size; size > 0 && patience.lasts();) {
        size = std::max<off_t>(size - piece, 0);
        if (ftruncate(file, size) != 0)
            return false;
    }
    return true;
}

// An empty output, or -1.
int create_output(const char* path, Patience& patience)
{
    int file = open_output(path, patience);
    if (file < 0 || empty_output(file, patience))
        return file;
    close(file);
    return -1;
}

// Straight from the mapping, in pieces between which a stop signal is seen. What is lost is said on standard
// error; the answer stays the same.
void write_block(int file, std::span<const char> bytes, Patience& patience)
{
    constexpr size_t piece = 256 * 1024;
    while (!bytes.empty()) {
        if (!patience.lasts()) {
            fputs("obspcap: a signal came before the block was written\n", stderr);
            break;
        }
        const ssize_t n = write(file, bytes.data(), std::min(bytes.size(), piece));
        if (n < 0 && errno == EINTR)
            continue;
        if (n == 0 || (n < 0 && errno == EAGAIN)) {
            pause_for(file);
            continue;
        }
        if (n < 0) {
            note_errno("write");
            break;
        }
        bytes = bytes.subspan(static_cast<size_t>(n));
    }
    if (close(file) != 0)
        note_errno("close");
}

} // namespace

int obspcap_save(int argc, char** argv)
{
    TypedPlace from(place::capture_ring), to(place::capture_export);
    for (const char* argument : arguments(argc, argv)) {
        take_text(argument, "if=", from.path);
        take_text(argument, "of=", to.path);
    }
    if (from.too_long() || to.too_long())
        return refuse("ARG_TOO_LONG");
    if (is_standard_output(to.path) && refuses_packets())
        return -1;

    CaptureRing ring;
    if (!open_ring(from.path, ring))
        return -1;
    TakenBlock block;
    if (!take_full_block(ring, block)) {
        note("no full block found");
        return 0;
    }
    Patience patience;
    // The ring itself is no output: cut down to nothing under its own mapping it would end the run by SIGBUS.
    int file = same_file(from.path, to.path) ? -1 : create_output(to.path, patience);
    if (file >= 0)
        write_block(file, block.bytes, patience);
    release_block(ring, block); // the block is dropped also when it went nowhere
    if (file >= 0)
        return 0;
    return refuse<LineEnd::no>(FORMAT(R"(fail to create file "{}")"), text_of(to.path));
}

// obspcap: makes a capture ring file, and saves one full block of it.
#include "base/output.h"
#include "base/stop_signals.h"
#include "common/arguments.h"
#include "link/places.h"
#include "reports/capture/capture.h"
#include "reports/capture/capture_ring.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A typed path is taken as it is, a default one below the root in force.
constexpr size_t typed_path_max = 511;

struct Place {
    PlacePath fixed;
    const char* path = fixed.text;

    explicit Place(const char* place) : fixed(placed(place)) {}
    Place(const Place&) = delete;
    bool usable() const { return path == fixed.text || strlen(path) <= typed_path_max; }
};

struct Geometry {
    uint32_t bs = 128U << 20;
    int count = 8;
};

bool exists(const char* path)
{
    int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC); // a FIFO must not hold us
    if (file >= 0)
        close(file);
    return file >= 0;
}

bool write_zeros(FILE* file, size_t size)
{
    static const char zeros[1024] = {};
    return fwrite(zeros, size, 1, file) == 1;
}

bool write_header(FILE* file, const Geometry& geometry)
{
    CaptureRingHeader header{};
    memcpy(header.tag, capture_ring_tag, sizeof capture_ring_tag);
    header.cnt = static_cast<uint32_t>(geometry.count);
    header.bs = geometry.bs;
    if (fwrite(&header, sizeof header, 1, file) == 1 && fflush(file) == 0)
        return true;
    int error = errno;
    perror("fwrite");
    errno = error;
    return false;
}

// Slots and blocks, all zero. The counters are signed: a negative count makes no slots. A stop signal that
// waits fails it.
bool write_areas(FILE* file, const Geometry& geometry)
{
    for (int i = 0; i < geometry.count; i++)
        if (!write_zeros(file, sizeof(CaptureSlot)))
            return false;
    auto chunks = static_cast<int32_t>(geometry.bs * static_cast<uint32_t>(geometry.count) / 1024);
    for (int32_t i = 0; i < chunks; i++)
        if (!write_zeros(file, 1024) || (i % 1024 == 0 && stop_signal_waits()))
            return false;
    return fflush(file) == 0;
}

// The stop signals are held back meanwhile: a run that they end leaves no half of a ring behind.
int create_ring(const char* path, const Geometry& geometry)
{
    static char buffer[256 * 1024];
    sigset_t signals = hold_stop_signals();
    FILE* file = fopen(path, "wxe"); // what is there, readable or not, is never overwritten
    if (file == nullptr) {
        restore_signals(signals);
        print("fail to create file \"%s\"", path); // no line feed: kept so
        return -1;
    }
    setvbuf(file, buffer, _IOFBF, sizeof buffer);
    bool written = write_header(file, geometry) && write_areas(file, geometry);
    int error = errno;
    if (fclose(file) != 0 && written) {
        written = false;
        error = errno;
    }
    if (!written)
        unlink(path);
    restore_signals(signals);
    if (written)
        return 0;
    print("fail to write file, err=%s(%d)\n", strerror(error), error);
    return -1;
}

bool same_file(const char* one, const char* other)
{
    struct stat a, b;
    return stat(one, &a) == 0 && stat(other, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool is_fifo(const char* path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISFIFO(status.st_mode);
}

// An output that takes nothing now: a FIFO that nobody reads. It is waited for as long as need be, but the
// stop signals are held back while the slot is taken: once one waits, half a second longer and no more.
struct Patience {
    static constexpr int step = 20; // milliseconds
    int steps = 500 / step;

    bool wait(int file)
    {
        if (stop_signal_waits() && steps-- == 0) {
            errno = EINTR;
            perror("write");
            return false;
        }
        pollfd ready{.fd = file, .events = POLLOUT, .revents = 0}; // without a file just a pause
        poll(&ready, 1, step);
        return true;
    }
};

// The output, or -1.
int create_output(const char* path, Patience& patience)
{
    for (;;) {
        int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666);
        bool unread = file < 0 && errno == ENXIO && is_fifo(path);
        if (!unread || !patience.wait(-1))
            return file;
    }
}

// Straight from the mapping. What is lost is said on standard error; the answer stays the same.
void write_block(int file, std::span<const char> bytes, Patience& patience)
{
    while (!bytes.empty()) {
        ssize_t n = write(file, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN) {
            if (patience.wait(file))
                continue;
            break;
        }
        if (n <= 0) {
            perror("write");
            break;
        }
        bytes = bytes.subspan(static_cast<size_t>(n));
    }
    if (close(file) != 0)
        perror("close");
}

} // namespace

int obspcap_init(int argc, char** argv)
{
    Place place(place::capture_ring);
    Geometry geometry;
    for (const char* argument : arguments(argc, argv)) {
        int mebibytes = 0;
        if (take_number(argument, "bs=", mebibytes))
            geometry.bs = static_cast<uint32_t>(mebibytes) << 20; // 32 bits: 4096 gives 0
        take_number(argument, "count=", geometry.count);
        take_text(argument, "file=", place.path);
    }
    if (!place.usable())
        return refuse("ARG_TOO_LONG");
    if (exists(place.path)) {
        print("file \"%s\" exist!\n", place.path);
        return -1;
    }
    return create_ring(place.path, geometry);
}

int obspcap_save(int argc, char** argv)
{
    Place from(place::capture_ring), to(place::capture_export);
    for (const char* argument : arguments(argc, argv)) {
        take_text(argument, "if=", from.path);
        take_text(argument, "of=", to.path);
    }
    if (!from.usable() || !to.usable())
        return refuse("ARG_TOO_LONG");

    CaptureRing ring;
    if (!open_ring(from.path, ring))
        return -1;
    TakenBlock block;
    if (!take_full_block(ring, block)) {
        print_line("no full block found");
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
    print("fail to create file \"%s\"", to.path); // no line feed: kept so
    return -1;
}

// obspcap init: makes a capture ring file.
#include "base/document.h"
#include "base/stop_signals.h"
#include "common/arguments.h"
#include "reports/capture/capture.h"
#include "reports/capture/capture_ring.h"
#include "reports/capture/typed_place.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

struct Sizes {
    int mebibytes = 128; // of a block
    int count = 8;
};

bool exists(const char* path)
{
    int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC); // a FIFO must not hold us
    if (file >= 0)
        close(file);
    return file >= 0;
}

struct FilePath {
    char text[PATH_MAX];
};

// The file that a path leads to, which need not be there yet. Creating a file exclusively does not follow
// links, so that is done here. False when they run in a circle or their text becomes too long.
bool follow_links(const char* path, FilePath& target)
{
    constexpr int links_max = 40; // as in the kernel
    if (strlen(path) >= sizeof target.text)
        return false;
    strcpy(target.text, path);
    for (int links = 0; links < links_max; links++) {
        char link[PATH_MAX];
        const ssize_t length = readlink(target.text, link, sizeof link);
        if (length < 0)
            return true;
        // A relative link begins in its own directory.
        const size_t slash = std::string_view(target.text).rfind('/');
        char* begin =
            link[0] == '/' || slash == std::string_view::npos ? target.text : target.text + slash + 1;
        if (begin + length >= std::end(target.text))
            return false;
        memcpy(begin, link, static_cast<size_t>(length));
        begin[length] = '\0';
    }
    return false;
}

bool write_all(int file, const char* bytes, size_t size)
{
    while (size > 0) {
        const ssize_t written = write(file, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// A stop signal that waits ends it as a failed write does.
bool write_zeros(int file, uint64_t size)
{
    static const char zeros[256 * 1024] = {};
    for (size_t piece; size > 0; size -= piece) {
        piece = std::min<uint64_t>(size, sizeof zeros);
        if (stop_signal_waits() || !write_all(file, zeros, piece))
            return false;
    }
    return true;
}

bool write_header(int file, uint32_t cnt, uint32_t bs)
{
    CaptureRingHeader header{};
    memcpy(header.tag, capture_ring_tag, sizeof capture_ring_tag);
    header.cnt = cnt;
    header.bs = bs;
    if (write_all(file, reinterpret_cast<const char*>(&header), sizeof header))
        return true;
    const int error = errno;
    perror("fwrite");
    errno = error;
    return false;
}

bool write_ring(int file, uint32_t cnt, uint32_t bs)
{
    return write_header(file, cnt, bs) && write_zeros(file, uint64_t{cnt} * sizeof(CaptureSlot)) &&
           write_zeros(file, bs * cnt / 1024 * 1024); // whole kilobytes of the blocks, which count in 32 bits
}

// The stop signals are held back meanwhile: a run that they end leaves no half of a ring behind.
int create_ring(const char* path, uint32_t cnt, uint32_t bs)
{
    FilePath target;
    const sigset_t signals = hold_stop_signals();
    // What is there, readable or not, is never overwritten.
    const int file =
        follow_links(path, target) ? open(target.text, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666) : -1;
    if (file < 0) {
        restore_signals(signals);
        return refuse<LineEnd::no>(FORMAT(R"(fail to create file "{}")"), text_of(path));
    }
    bool written = write_ring(file, cnt, bs);
    int error = errno;
    if (close(file) != 0 && written) {
        written = false;
        error = errno;
    }
    if (!written)
        unlink(target.text);
    restore_signals(signals); // a stop signal ends the run here
    if (written)
        return 0;
    return refuse(FORMAT("fail to write file, err={}({})"), text_of(strerror(error)), error);
}

} // namespace

int obspcap_init(int argc, char** argv)
{
    TypedPlace place(place::capture_ring);
    Sizes typed;
    for (const char* argument : arguments(argc, argv)) {
        take_number(argument, "bs=", typed.mebibytes);
        take_number(argument, "count=", typed.count);
        take_text(argument, "file=", place.path);
    }
    if (typed.count < 0)
        return refuse("INV_COUNT");
    if (typed.mebibytes < 0)
        return refuse("INV_BS");
    if (place.too_long())
        return refuse("ARG_TOO_LONG");
    if (exists(place.path))
        return refuse(FORMAT(R"(file "{}" exist!)"), text_of(place.path));
    // 32 bits: 4096 MiB are 0.
    return create_ring(place.path, static_cast<uint32_t>(typed.count),
                       static_cast<uint32_t>(typed.mebibytes) << 20);
}

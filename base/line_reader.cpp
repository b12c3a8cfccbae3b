#include "base/line_reader.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

LineReader::~LineReader()
{
    if (fd_ >= 0)
        close(fd_);
}

bool LineReader::open(const char* path)
{
    fd_ = ::open(path, O_RDONLY | O_CLOEXEC);
    return fd_ >= 0;
}

bool LineReader::refill()
{
    ssize_t got;
    do
        got = read(fd_, block_, sizeof block_);
    while (got < 0 && errno == EINTR);
    if (got < 0)
        error_ = errno;
    at_ = 0;
    end_ = got > 0 ? static_cast<size_t>(got) : 0;
    return got > 0;
}

bool LineReader::failed() const
{
    errno = error_;
    return error_ != 0;
}

bool LineReader::next(std::span<char> line)
{
    size_t used = 0;
    bool whole = false;
    while (!whole && used + 1 < line.size() && (at_ < end_ || refill())) {
        size_t most = line.size() - 1 - used;
        size_t length = end_ - at_ < most ? end_ - at_ : most;
        if (const void* feed = memchr(block_ + at_, '\n', length); feed != nullptr) {
            length = static_cast<size_t>(static_cast<const char*>(feed) - (block_ + at_)) + 1;
            whole = true;
        }
        memcpy(line.data() + used, block_ + at_, length);
        used += length;
        at_ += length;
    }
    line[used] = '\0';
    return used > 0;
}

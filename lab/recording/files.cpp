#include "lab/recording/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t piece_size = 64 * 1024;

class File {
public:
    File(const std::string& path, int flags) : fd_(open(path.c_str(), flags | O_CLOEXEC, 0600)) {}
    ~File()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }
    File(const File&) = delete;
    int fd() const { return fd_; }
    int close() // 0, or the error number
    {
        int fd = fd_;
        fd_ = -1;
        return ::close(fd) == 0 ? 0 : errno;
    }

private:
    int fd_;
};

// Opened without waiting: it may turn out to be a pipe.
constexpr int read_flags = O_RDONLY | O_NONBLOCK | O_NOFOLLOW;
constexpr int write_flags = O_WRONLY | O_CREAT | O_EXCL;

// The size of a plain file; -1 with the error number set for anything else.
int64_t plain_size(const File& file)
{
    struct stat status {};
    if (file.fd() < 0 || fstat(file.fd(), &status) != 0)
        return -1;
    if (!S_ISREG(status.st_mode) || static_cast<uint64_t>(status.st_size) > recorded_file_max) {
        errno = S_ISREG(status.st_mode) ? EFBIG : EINVAL;
        return -1;
    }
    return status.st_size;
}

std::string why_unreadable(int error)
{
    return error == EINVAL || error == ELOOP ? "is no plain file" : strerror(error);
}

int write_all(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        ssize_t n = write(fd, bytes.data(), bytes.size());
        if (n < 0 && errno != EINTR)
            return errno;
        bytes.remove_prefix(n > 0 ? static_cast<size_t>(n) : 0);
    }
    return 0;
}

// 0 at the file's end, -1 on failure.
ssize_t read_piece(int fd, std::span<char> piece)
{
    ssize_t n;
    while ((n = read(fd, piece.data(), piece.size())) < 0 && errno == EINTR) {
    }
    return n;
}

} // namespace

std::string Sha256::hexadecimal()
{
    static constexpr char digits[] = "0123456789abcdef";
    uint8_t digest[SHA256_DIGEST_SIZE];
    sha256_digest(&context_, sizeof digest, digest);
    std::string out;
    for (uint8_t byte : digest) {
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
    return out;
}

// Piece by piece through a buffer: the bytes may be a segment that its client goes on writing into, and the
// sum must be that of what is in the file.
int write_new_file(const std::string& path, std::span<const char> bytes, FileSum& sum)
{
    File file(path, write_flags);
    if (file.fd() < 0)
        return errno;
    Sha256 sha256;
    std::string piece;
    for (size_t at = 0; at < bytes.size(); at += piece.size()) {
        auto from = bytes.subspan(at, std::min(piece_size, bytes.size() - at));
        piece.assign(from.data(), from.size());
        sha256.add(piece);
        if (int error = write_all(file.fd(), piece); error != 0)
            return error;
    }
    sum = {bytes.size(), sha256.hexadecimal()};
    return file.close();
}

int copy_file(const std::string& from, const std::string& to, FileSum& sum)
{
    File source(from, O_RDONLY | O_NONBLOCK), target(to, write_flags);
    if (plain_size(source) < 0 || target.fd() < 0)
        return errno;
    Sha256 sha256;
    std::string piece(piece_size, '\0');
    ssize_t n;
    for (sum.size = 0; (n = read_piece(source.fd(), piece)) > 0; sum.size += static_cast<size_t>(n)) {
        std::string_view bytes{piece.data(), static_cast<size_t>(n)};
        sha256.add(bytes);
        if (int error = write_all(target.fd(), bytes); error != 0)
            return error;
    }
    if (n < 0)
        return errno;
    sum.sha256 = sha256.hexadecimal();
    return target.close();
}

std::string read_summed_file(const std::string& path, const FileSum& sum, const TakeBytes& take)
{
    File file(path, read_flags);
    int64_t size = plain_size(file);
    if (size < 0)
        return why_unreadable(errno);
    if (static_cast<uint64_t>(size) != sum.size)
        return "has " + std::to_string(size) + " bytes instead of " + std::to_string(sum.size);
    Sha256 sha256;
    std::string piece(piece_size, '\0');
    uint64_t left = sum.size;
    while (left > 0) {
        ssize_t n = read_piece(file.fd(), {piece.data(), std::min(left, uint64_t{piece_size})});
        if (n < 0)
            return strerror(errno);
        if (n == 0)
            return "has lost its end";
        sha256.add({piece.data(), static_cast<size_t>(n)});
        take({piece.data(), static_cast<size_t>(n)});
        left -= static_cast<size_t>(n);
    }
    return sha256.hexadecimal() == sum.sha256 ? "" : "is not as it was written: its SHA-256 differs";
}

std::string read_text_file(const std::string& path, std::string& text)
{
    File file(path, read_flags);
    if (plain_size(file) < 0)
        return why_unreadable(errno);
    text.assign(piece_size, '\0');
    size_t held = 0;
    ssize_t n;
    while ((n = read_piece(file.fd(), std::span(text).subspan(held))) > 0)
        held += static_cast<size_t>(n);
    if (n < 0)
        return strerror(errno);
    text.resize(held);
    return held < piece_size ? "" : "is no text of a recording: it is too long";
}

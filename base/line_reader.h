#pragma once
// Text files line by line, without stdio's buffers: a missing file costs one failed open.
#include <cstddef>
#include <span>

class LineReader {
public:
    LineReader() = default;
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // False, errno set, when the file cannot be opened.
    bool open(const char* path);

    // The next line with its line feed, at most line.size() - 1 bytes and a NUL; what a longer line has left
    // comes as the next one. False at the end of the file, and where it cannot be read further.
    bool next(std::span<char> line);

    // True, errno set, when the file could not be read to its end.
    bool failed() const;

private:
    bool refill();

    int fd_ = -1;
    int error_ = 0; // of the read that ended it
    size_t at_ = 0, end_ = 0;
    char block_[4096];
};

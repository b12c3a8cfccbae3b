#pragma once
// The texts of a recording: a line that names the kind, lines of a key and a value, and the line "end" with
// the SHA-256 of all that stands above it.
#include <cstdint>
#include <string>
#include <string_view>

std::string sha256_of(std::string_view bytes); // 64 hexadecimal digits

// Bytes on one line, in quotes; what is not printable is written \xHH.
std::string in_quotes(std::string_view bytes);

class SealedTextWriter {
public:
    explicit SealedTextWriter(std::string_view kind);
    void line(std::string_view key, std::string_view value);
    std::string sealed() const;

private:
    std::string text_;
};

// Reads the lines in their order. The first one that is not as it should be is remembered, and what is read
// from then on is empty.
class SealedTextReader {
public:
    SealedTextReader(std::string text, std::string_view kind);
    SealedTextReader(const SealedTextReader&) = delete;
    bool next_is(std::string_view key) const;
    std::string_view word(std::string_view key); // the value as it stands
    uint64_t number(std::string_view key, uint64_t most);
    int64_t signed_number(std::string_view key, int64_t least, int64_t most);
    std::string bytes(std::string_view key, size_t most); // of a quoted value
    void refuse(const std::string& what);                 // the line that was read last is wrong
    // What is wrong, also with lines that nobody has read; empty when nothing is.
    std::string fault();

private:
    std::string text_;
    std::string_view rest_; // lines that are not read yet
    size_t line_ = 0;
    std::string fault_;
};

#pragma once
// The files of a recording: written once, and read only as they were written.
#include <cstdint>
#include <functional>
#include <nettle/sha2.h>
#include <span>
#include <string>
#include <string_view>

class Sha256 {
public:
    Sha256() { sha256_init(&context_); }
    void add(std::string_view bytes)
    {
        sha256_update(&context_, bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
    }
    std::string hexadecimal(); // 64 digits; the sum begins anew

private:
    sha256_ctx context_{};
};

struct FileSum {
    uint64_t size = 0;
    std::string sha256;
};

constexpr uint64_t recorded_file_max = 256ULL << 20; // bytes

// A new file that only its owner can read. 0, or the error number.
int write_new_file(const std::string& path, std::span<const char> bytes, FileSum& sum);

// A copy of a plain file of at most recorded_file_max bytes. 0, or the error number.
int copy_file(const std::string& from, const std::string& to, FileSum& sum);

// Gives `take` the bytes of a plain file, piece by piece. What is wrong with the file, or nothing: whatever
// was taken is good only then.
using TakeBytes = std::function<void(std::string_view piece)>;
std::string read_summed_file(const std::string& path, const FileSum& sum, const TakeBytes& take);

// A whole text of at most 64 KiB. What is wrong with the file, or nothing.
std::string read_text_file(const std::string& path, std::string& text);

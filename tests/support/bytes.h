#pragma once
// Test data at hand-written offsets: records are built, and requests and replies read, without the product's
// own layouts, so that those are checked independently.
//   std::string record = Bytes(228).be32(0, 0x0a000001).u16(12, 443).text(64, "host").str();
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

// A number of `width` bytes, least significant first.
inline uint64_t read_le(const char* at, size_t width)
{
    uint64_t value = 0;
    for (size_t i = width; i-- > 0;)
        value = value << 8 | static_cast<uint8_t>(at[i]);
    return value;
}

class Bytes {
public:
    explicit Bytes(size_t size) : bytes_(size, '\0') {}
    explicit Bytes(std::string bytes) : bytes_(std::move(bytes)) {}

    // Host (little-endian) order; a negative number is given as it is.
    Bytes& u8(size_t offset, uint64_t value) { return le(offset, value, 1); }
    Bytes& u16(size_t offset, uint64_t value) { return le(offset, value, 2); }
    Bytes& u32(size_t offset, uint64_t value) { return le(offset, value, 4); }
    Bytes& u64(size_t offset, uint64_t value) { return le(offset, value, 8); }
    Bytes& i32(size_t offset, int64_t value) { return le(offset, static_cast<uint64_t>(value), 4); }
    // Network order.
    Bytes& be16(size_t offset, uint64_t value) { return be(offset, value, 2); }
    Bytes& be32(size_t offset, uint64_t value) { return be(offset, value, 4); }
    Bytes& ip(size_t offset, int a, int b, int c, int d)
    {
        return be32(offset, static_cast<uint64_t>(a) << 24 | static_cast<uint64_t>(b << 16 | c << 8 | d));
    }
    // As many bytes as the text has, or `width` bytes, the rest zero (a text as wide as its field has no
    // NUL).
    Bytes& text(size_t offset, std::string_view text, size_t width = 0)
    {
        if (width == 0)
            width = text.size();
        if (text.size() > width)
            throw std::out_of_range("text wider than its field");
        check(offset, width);
        memset(bytes_.data() + offset, 0, width);
        memcpy(bytes_.data() + offset, text.data(), text.size());
        return *this;
    }
    // The same byte `count` times.
    Bytes& fill(size_t offset, char value, size_t count)
    {
        check(offset, count);
        memset(bytes_.data() + offset, value, count);
        return *this;
    }

    const std::string& str() const { return bytes_; }
    operator const std::string&() const { return bytes_; }

private:
    void check(size_t offset, size_t size) const
    {
        if (size > bytes_.size() || offset > bytes_.size() - size)
            throw std::out_of_range("field beyond its record");
    }
    Bytes& le(size_t offset, uint64_t value, size_t width)
    {
        check(offset, width);
        for (size_t i = 0; i < width; i++, value >>= 8)
            bytes_[offset + i] = static_cast<char>(value);
        return *this;
    }
    Bytes& be(size_t offset, uint64_t value, size_t width)
    {
        le(offset, value, width);
        std::reverse(&bytes_[offset], &bytes_[offset] + width);
        return *this;
    }

    std::string bytes_;
};

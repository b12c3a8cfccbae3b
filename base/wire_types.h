#pragma once
// Value types of everything that crosses a socket, the shared segment or a shared file. All have alignment 1,
// so a packed record may stand at any address, and none can be read or printed by mistake in the wrong form.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

static_assert(std::endian::native == std::endian::little,
              "the host-order fields are little-endian on the wire");

// What the printed forms below are made of (base/format.h): each puts at `at` and returns the position
// behind.
char* put_number(char* at, uint32_t number);
char* put_text(char* at, std::string_view text); // up to text_growth bytes for each of the text's
char* put_gbk(char* at, std::string_view text);  // the same for a text that is GBK, whatever else it might be
inline constexpr size_t text_growth = 6;         // a byte of a text may have to be escaped

// An unsigned number in network order; converts to and from host order.
template <class T> class [[gnu::packed]] NetworkOrder {
public:
    operator T() const
    {
        T value = 0;
        for (uint8_t byte : bytes_)
            value = static_cast<T>(value << 8 | byte);
        return value;
    }
    NetworkOrder& operator=(T value)
    {
        for (size_t i = sizeof(T); i-- > 0; value = static_cast<T>(value >> 8))
            bytes_[i] = static_cast<uint8_t>(value);
        return *this;
    }
    // The four or two bytes as the machine would load them, unswapped: what keys and hashes are made of.
    T raw() const
    {
        T value;
        memcpy(&value, bytes_, sizeof value);
        return value;
    }
    char* put(char* at) const { return put_number(at, *this); }
    static constexpr size_t most_bytes() { return sizeof "4294967295"; }

private:
    uint8_t bytes_[sizeof(T)];
};

using be16 = NetworkOrder<uint16_t>;
using be32 = NetworkOrder<uint32_t>;

// A text field of N bytes that may lack its NUL.
template <size_t N> class [[gnu::packed]] FixedText {
public:
    static constexpr size_t width = N;
    // The bytes up to the first NUL or the end of the field.
    std::string_view view() const { return {bytes_, strnlen(bytes_, N)}; }
    bool empty() const { return bytes_[0] == '\0'; }
    // Fills the field with `text` cut to `most` bytes, the rest zero; returns false when something was cut.
    bool assign(std::string_view text, size_t most = N)
    {
        size_t kept = text.size() < most ? text.size() : most;
        memset(bytes_, 0, N);
        memcpy(bytes_, text.data(), kept);
        return kept == text.size();
    }
    // All N bytes, NULs included.
    std::string_view whole() const { return {bytes_, N}; }
    char* put(char* at) const { return put_text(at, view()); }
    static constexpr size_t most_bytes() { return text_growth * N; }

private:
    char bytes_[N];
};

// The same for texts that the daemons send in GBK: locations, levels, and names in the appliance's own
// language.
template <size_t N> class [[gnu::packed]] FixedGbkText : public FixedText<N> {
public:
    char* put(char* at) const { return put_gbk(at, this->view()); }
};

// The text at `offset` in a field that holds several, up to its NUL or the end of the field; empty when the
// offset lies outside.
template <size_t N> std::string_view text_within(const FixedText<N>& area, size_t offset)
{
    if (offset >= N)
        return ""; // not null: the result goes to memcpy
    std::string_view rest = area.whole();
    rest.remove_prefix(offset); // substr() could throw, and would link what throwing needs
    return rest.substr(0, strnlen(rest.data(), rest.size()));
}

// Entry i of a table of names, for numbers that a daemon chose.
template <size_t N>
constexpr const char* name_at(const char* const (&names)[N], size_t i, const char* otherwise)
{
    return i < N && names[i] != nullptr ? names[i] : otherwise;
}

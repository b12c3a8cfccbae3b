#pragma once
// Doors: what comes from outside, each with a function that reads it out of an input in memory. What a call leaves
// behind, memory and state of the product, is gone before the next.
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

// What is left of an input. Behind its end there are zeros and empty texts.
struct Input {
    std::string_view left;

    std::string_view rest(size_t most = SIZE_MAX)
    {
        std::string_view bytes = left.substr(0, most);
        left.remove_prefix(bytes.size());
        return bytes;
    }
    template <class T = uint8_t> T number()
    {
        T value{};
        std::string_view bytes = rest(sizeof value);
        memcpy(&value, bytes.data(), bytes.size());
        return value;
    }
    std::string_view text() // up to its NUL
    {
        std::string_view text = rest(left.find('\0'));
        rest(1);
        return text;
    }
};

// A text with its NUL in memory of exactly that size: the sanitizer sees one byte too far.
inline std::unique_ptr<char[]> exactly(std::string_view text)
{
    std::unique_ptr<char[]> copy(new char[text.size() + 1]);
    text.copy(copy.get(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

void expect(bool holds, const char* otherwise); // ends the program, as a sanitizer does

// What the product finds in every file that it opens (without it there is none), and a path of it.
const char* put_file(std::string_view content);
std::string_view printed_output();

// The daemon of a run, in the same process: it answers from the input. The segment is a block of exactly its size.
struct Peer {
    bool changing = false; // what is read again has changed meanwhile, with odds of one in 2^`odds`
    unsigned odds = 0;
    uint64_t seed = 1;
    int protocols = 3, groups = 2; // that the dictionary library says it has
    bool library = true;           // there is one
};
void begin_peer(Input& input, const Peer& peer);
void end_peer();

// In front of a function: no sanitizer looks at it, and no fuzzer counts it.
#ifdef __clang__
#define UNWATCHED __attribute__((noinline, no_sanitize("address", "undefined", "coverage")))
#else
#define UNWATCHED __attribute__((noinline, no_sanitize("address", "undefined")))
#endif

using Door = void(Input& input);
Door replies, dictionary, vendors, ring, configuration, arguments, addresses, texts, capture, recordings;

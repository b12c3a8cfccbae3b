#pragma once
// A part of a line, put together without a formatting call: a listing has millions of lines.
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

// The caller gives room for all that it puts.
template <size_t N> struct Piece {
    char text[N];
    size_t used = 0;

    Piece& put(std::string_view more)
    {
        memcpy(text + used, more.data(), more.size());
        used += more.size();
        text[used] = '\0';
        return *this;
    }
    Piece& put(uint32_t number)
    {
        used = static_cast<size_t>(std::to_chars(text + used, text + N - 1, number).ptr - text);
        text[used] = '\0';
        return *this;
    }
    // In hundredths: "%u.%02u".
    Piece& put_hundredths(uint32_t number)
    {
        const uint32_t rest = number % 100;
        put(number / 100);
        const char digits[] = {'.', static_cast<char>('0' + rest / 10), static_cast<char>('0' + rest % 10)};
        return put({digits, sizeof digits});
    }
};

#pragma once
// Texts in the appliance's own language: written as UTF-8 here, GBK in the program.
#include "base/gb2312_codes.h"

#include <algorithm>

// A text as a template argument.
template <size_t N> struct Utf8Text {
    char bytes[N];

    // NOLINTNEXTLINE(google-explicit-constructor): a literal becomes one by itself
    constexpr Utf8Text(const char (&text)[N]) { std::copy_n(text, N, bytes); }
};

void not_a_gbk_text(); // nowhere defined: a constant that would call it does not compile

template <size_t N> struct GbkText {
    char bytes[N]{}; // no longer than the UTF-8 it comes from

    // Characters of one and of three bytes, which is what these texts are made of; anything else, and what
    // has no code, does not compile.
    constexpr explicit GbkText(const char (&utf8)[N])
    {
        auto byte = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(utf8[i])); };
        char* out = bytes;
        for (size_t at = 0; at + 1 < N;) {
            if (byte(at) < 0x80) {
                *out++ = utf8[at++];
                continue;
            }
            unsigned code =
                code_of_character((byte(at) & 15) << 12 | (byte(at + 1) & 63) << 6 | (byte(at + 2) & 63));
            if (byte(at) >> 4 != 14 || code == no_code)
                not_a_gbk_text();
            *out++ = static_cast<char>(code >> 8 | 0x80);
            *out++ = static_cast<char>(code | 0x80);
            at += 3;
        }
    }
};

template <Utf8Text text> constexpr GbkText gbk_text{text.bytes};

// "中国"_gbk is the GBK text, as a literal would be: it lives as long as the program and ends in a NUL.
template <Utf8Text text> constexpr const char* operator""_gbk()
{
    return gbk_text<text>.bytes;
}

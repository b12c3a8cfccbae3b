#pragma once
// Texts into UTF-8 for JSON strings.
#include <string_view>

enum class Source {
    gbk,    // known to be GBK
    unknown // UTF-8 when it is that from end to end, otherwise GBK
};

enum class Escapes { none, json };

// Puts the text at `at`, with room for text_growth bytes for each of its bytes; returns the position behind
// it. A byte that belongs to no character becomes U+FFFD, by itself.
char* put_decoded(char* at, std::string_view text, Source source, Escapes escapes);

// Complete UTF-8 without surrogates, overlong forms and numbers beyond U+10FFFF.
bool is_strict_utf8(std::string_view text);

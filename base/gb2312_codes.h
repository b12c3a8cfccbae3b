#pragma once
// The code tables of GB2312, made during the build.
#include <bit>
#include <cstdint>

// Sixteen neighbouring code points: which of them have a code, and where the codes begin in `gb2312_codes`.
struct CodePage {
    uint16_t first;
    uint16_t present;
};

// A stretch of code points and its pages in `code_pages`; both ends are multiples of 16.
struct CodeBlock {
    uint32_t begin, end;
    uint32_t first_page;
};

// unicode_characters, code_blocks, code_pages, gb2312_codes
#include "base/gb2312_tables.inc"

constexpr unsigned no_code = 0;

// Of the two bytes, each with or without its top bit; `no_code` when the character has none.
constexpr unsigned code_of_character(uint32_t character)
{
    for (const CodeBlock& block : code_blocks) {
        if (character < block.begin || character >= block.end)
            continue;
        const CodePage& page = code_pages[block.first_page + (character - block.begin) / 16];
        unsigned bit = 1U << character % 16;
        return page.present & bit ? gb2312_codes[page.first + std::popcount(page.present & (bit - 1))]
                                  : no_code;
    }
    return no_code;
}

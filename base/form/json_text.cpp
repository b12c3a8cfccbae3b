#include "base/form/json_text.h"

#include "base/loaded_once.h"

#include <cstdint>
#include <cstring>

#include "base/form/gbk_table.inc"

namespace {

constexpr uint32_t replacement = 0xFFFD;

char* put_utf8(char* at, uint32_t character)
{
    auto byte = [&](uint32_t value) { *at++ = static_cast<char>(value); };
    if (character < 0x80) {
        byte(character);
    } else if (character < 0x800) {
        byte(0xC0 | character >> 6);
        byte(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        byte(0xE0 | character >> 12);
        byte(0x80 | (character >> 6 & 0x3F));
        byte(0x80 | (character & 0x3F));
    } else {
        byte(0xF0 | character >> 18);
        byte(0x80 | (character >> 12 & 0x3F));
        byte(0x80 | (character >> 6 & 0x3F));
        byte(0x80 | (character & 0x3F));
    }
    return at;
}

char* put_number_escape(char* at, uint32_t character)
{
    static constexpr char hex[] = "0123456789abcdef";
    *at++ = '\\';
    *at++ = 'u';
    for (int shift = 12; shift >= 0; shift -= 4)
        *at++ = hex[character >> shift & 15];
    return at;
}

char* put_escaped(char* at, uint32_t character)
{
    constexpr std::string_view named = "\"\\\b\f\n\r\t", names = "\"\\bfnrt";
    const size_t i = character < 0x80 ? named.find(static_cast<char>(character)) : std::string_view::npos;
    if (i != std::string_view::npos) {
        *at++ = '\\';
        *at++ = names[i];
        return at;
    }
    // The line separators end a line in some readers' programs.
    const bool escaped = character < 0x20 || character == 0x2028 || character == 0x2029;
    return escaped ? put_number_escape(at, character) : put_utf8(at, character);
}

struct Decoded {
    uint32_t character;
    size_t bytes; // that it takes
};

uint8_t byte_at(std::string_view text, size_t i)
{
    return loaded_once(static_cast<uint8_t>(text[i]));
}

// A character of strict UTF-8; `bytes` is 0 when the text begins with none.
Decoded utf8_at(std::string_view text)
{
    const uint8_t lead = byte_at(text, 0);
    if (lead < 0x80)
        return {lead, 1};
    const size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes)
        return {0, 0};
    uint32_t character = lead & (0x7F >> bytes);
    for (size_t i = 1; i < bytes; i++) {
        const uint8_t following = byte_at(text, i);
        if ((following & 0xC0) != 0x80)
            return {0, 0};
        character = character << 6 | (following & 0x3F);
    }
    constexpr uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return character < least[bytes] || character > 0x10FFFF || surrogate ? Decoded{0, 0}
                                                                         : Decoded{character, bytes};
}

// A character of GBK, or one byte as the replacement character.
Decoded gbk_at(std::string_view text)
{
    const uint8_t lead = byte_at(text, 0);
    if (lead < 0x80)
        return {lead, 1};
    if (text.size() < 2 || lead < gbk_first_lead || lead > gbk_last_lead)
        return {replacement, 1};
    const uint8_t trail = byte_at(text, 1);
    if (trail < gbk_first_trail || trail > gbk_last_trail)
        return {replacement, 1};
    constexpr size_t trails = gbk_last_trail - gbk_first_trail + 1;
    const size_t index = size_t{lead} - gbk_first_lead;
    const uint16_t character = gbk_characters[index * trails + (trail - gbk_first_trail)];
    return character != 0 ? Decoded{character, 2} : Decoded{replacement, 1};
}

} // namespace

bool is_strict_utf8(std::string_view text)
{
    while (!text.empty()) {
        const size_t bytes = utf8_at(text).bytes;
        if (bytes == 0)
            return false;
        text.remove_prefix(bytes);
    }
    return true;
}

// Each byte is put as it was judged: a text in the segment may become another at any time.
char* put_decoded(char* at, std::string_view text, Source source, Escapes escapes)
{
    char* const start = at;
    bool utf8 = source == Source::unknown;
    for (std::string_view left = text; !left.empty();) {
        const Decoded next = utf8 ? utf8_at(left) : gbk_at(left);
        if (next.bytes == 0) {
            utf8 = false;
            left = text;
            at = start;
            continue;
        }
        at = escapes == Escapes::json ? put_escaped(at, next.character) : put_utf8(at, next.character);
        left.remove_prefix(next.bytes);
    }
    return at;
}

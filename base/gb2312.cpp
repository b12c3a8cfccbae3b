#include "base/gb2312.h"

#include <algorithm>

#include "base/document.h"
#include "base/gb2312_codes.h"
#include "base/text.h"

namespace {

// The character of a pair, or 0.
uint32_t character_of_pair(unsigned char first, unsigned char second)
{
    unsigned row = (first & 0x7FU) - 0x21, column = (second & 0x7FU) - 0x21;
    unsigned index = row * 94 + column;
    bool symbol = row <= 0x29 - 0x21 && index <= 830;
    bool ideograph = row >= 0x30 - 0x21 && row <= 0x77 - 0x21;
    return column < 94 && (symbol || ideograph) ? unicode_characters[index] : 0;
}

// Characters up to the first 0, which is not counted.
size_t decode_gb2312(std::span<const char> text, std::span<uint32_t> characters)
{
    size_t count = 0;
    for (size_t at = 0; at < text.size() && count < characters.size(); count++) {
        unsigned char byte = text[at++];
        if (byte >= 32 && byte <= 128)
            characters[count] = byte;
        else
            characters[count] = at < text.size() ? character_of_pair(byte, text[at++]) : 0;
        if (characters[count] == 0)
            break;
    }
    return count;
}

size_t decode_utf8(std::span<const char> text, std::span<uint16_t> characters)
{
    size_t count = 0;
    for (size_t at = 0; at < text.size() && count < characters.size(); count++) {
        unsigned char lead = text[at++];
        int following = utf8_following_bytes(lead);
        if (following < 0 || text.size() - at < static_cast<size_t>(following))
            break;
        uint32_t character = following == 0 ? lead : lead & (0x3FU >> following);
        for (; following > 0 && (text[at] & 0xC0) == 0x80; following--)
            character = character << 6 | (text[at++] & 0x3FU);
        if (following > 0)
            break;
        characters[count] = static_cast<uint16_t>(character);
    }
    return count;
}

size_t encode_gb2312(std::span<const uint16_t> characters, std::span<char> output)
{
    size_t used = 0;
    for (uint16_t character : characters) {
        size_t length = character > 128 ? 2 : 1;
        if (output.size() - used < length)
            break;
        unsigned code = length == 2 ? code_of_character(character) : no_code;
        if (length == 1) {
            output[used] = static_cast<char>(character);
        } else if (code != no_code) {
            output[used] = static_cast<char>(code >> 8 | 0x80);
            output[used + 1] = static_cast<char>(code | 0x80);
        }
        used += length;
    }
    return used;
}

int utf8_length(uint32_t character)
{
    return character < 0x80        ? 1
           : character < 0x800     ? 2
           : character < 0x10000   ? 3
           : character < 0x200000  ? 4
           : character < 0x4000000 ? 5
                                   : 6;
}

void put_utf8(uint32_t character, size_t length, char* out)
{
    static constexpr unsigned char leads[] = {0, 0x00, 0xC0, 0xE0, 0xF0};
    for (size_t i = length - 1; i > 0; i--, character >>= 6)
        out[i] = static_cast<char>(0x80 | (character & 0x3F));
    out[0] = static_cast<char>(leads[length] | character);
}

bool is_convertible(const char* output, int output_size, const char* input, int input_length)
{
    return output != nullptr && output_size >= 1 && input != nullptr && input_length >= 1;
}

} // namespace

bool gb2312_to_utf8(char* output, int output_size, const char* input, int input_length)
{
    if (!is_convertible(output, output_size, input, input_length))
        return false;
    uint32_t characters[256];
    size_t count = decode_gb2312({input, static_cast<size_t>(input_length)}, characters);
    encode_utf8({characters, count}, {output, static_cast<size_t>(output_size)});
    return true;
}

bool utf8_to_gb2312(char* output, int output_size, const char* input, int input_length)
{
    if (!is_convertible(output, output_size, input, input_length))
        return false;
    uint16_t characters[511];
    size_t count = decode_utf8({input, static_cast<size_t>(input_length)}, characters);
    encode_gb2312({characters, count}, {output, static_cast<size_t>(output_size)});
    return true;
}

size_t encode_utf8(std::span<const uint32_t> characters, std::span<char> output)
{
    size_t used = 0;
    for (uint32_t character : characters.first(std::min<size_t>(characters.size(), 1024))) {
        int number = static_cast<int>(character), length = utf8_length(character);
        for (int line = 0; line < 2; line++)
            print_line(FORMAT("w={}"), number);
        for (int line = 0; line < 2; line++)
            print_line(FORMAT("len={}"), length);
        auto room = static_cast<size_t>(length);
        if (output.size() - used < room)
            break;
        if (length <= 4)
            put_utf8(character, room, output.data() + used);
        used += room;
    }
    return used;
}

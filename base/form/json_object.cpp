#include "base/form/json_object.h"

#include "base/form/json_text.h"

#include <cstdint>

namespace {

// The text that is left, consumed from the front. Every reader returns false at what JSON does not allow.
struct Reader {
    std::string_view left;

    bool take(char c)
    {
        if (left.empty() || left.front() != c)
            return false;
        left.remove_prefix(1);
        return true;
    }
    bool take_word(std::string_view word)
    {
        if (!left.starts_with(word))
            return false;
        left.remove_prefix(word.size());
        return true;
    }
    void skip_space()
    {
        while (!left.empty() && std::string_view(" \t\n\r").find(left.front()) != std::string_view::npos)
            left.remove_prefix(1);
    }
    bool take_digits()
    {
        const size_t before = left.size();
        while (!left.empty() && left.front() >= '0' && left.front() <= '9')
            left.remove_prefix(1);
        return left.size() < before;
    }
};

bool read_number(Reader& r)
{
    r.take('-');
    if (!r.take('0') && !r.take_digits())
        return false;
    if (r.take('.') && !r.take_digits())
        return false;
    if (!r.take('e') && !r.take('E'))
        return true;
    if (!r.take('+'))
        r.take('-');
    return r.take_digits();
}

// The four digits behind "\u".
bool read_code_unit(Reader& r, uint32_t& unit)
{
    if (r.left.size() < 4)
        return false;
    unit = 0;
    for (char c : r.left.substr(0, 4)) {
        const size_t digit =
            std::string_view("0123456789abcdef").find(static_cast<char>(c >= 'A' && c <= 'F' ? c + 32 : c));
        if (digit == std::string_view::npos)
            return false;
        unit = unit << 4 | static_cast<uint32_t>(digit);
    }
    r.left.remove_prefix(4);
    return true;
}

bool is_high_surrogate(uint32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool is_low_surrogate(uint32_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Behind a backslash.
bool read_escape(Reader& r, uint32_t& character)
{
    constexpr std::string_view names = "\"\\/bfnrt", characters = "\"\\/\b\f\n\r\t";
    if (r.left.empty())
        return false;
    const char name = r.left.front();
    r.left.remove_prefix(1);
    if (const size_t i = names.find(name); i != std::string_view::npos) {
        character = static_cast<uint8_t>(characters[i]);
        return true;
    }
    uint32_t low = 0;
    if (name != 'u' || !read_code_unit(r, character) || is_low_surrogate(character))
        return false;
    if (!is_high_surrogate(character))
        return true;
    if (!r.take_word("\\u") || !read_code_unit(r, low) || !is_low_surrogate(low))
        return false;
    character = 0x10000 + ((character & 0x3FF) << 10) + (low & 0x3FF);
    return true;
}

// One character of a string, or one byte of it where it is not escaped: enough to compare two of them.
bool read_unit(Reader& r, uint32_t& unit, bool& escaped)
{
    escaped = r.take('\\');
    if (escaped)
        return read_escape(r, unit);
    unit = static_cast<uint8_t>(r.left.front());
    r.left.remove_prefix(1);
    return unit >= 0x20;
}

// `raw` is what stands between the quotes.
bool read_string(Reader& r, std::string_view& raw)
{
    if (!r.take('"'))
        return false;
    const std::string_view start = r.left;
    while (!r.left.empty() && r.left.front() != '"') {
        uint32_t unit;
        bool escaped;
        if (!read_unit(r, unit, escaped))
            return false;
    }
    raw = start.substr(0, start.size() - r.left.size());
    return r.take('"');
}

// A character of a valid raw string, decoded, whether it was escaped or not.
uint32_t next_character(Reader& r)
{
    uint32_t unit = 0;
    bool escaped = false;
    read_unit(r, unit, escaped);
    if (escaped || unit < 0x80)
        return unit;
    const unsigned following = unit >= 0xF0 ? 3 : unit >= 0xE0 ? 2 : 1;
    unit &= 0x3FU >> following;
    for (unsigned i = 0; i < following; i++) {
        unit = unit << 6 | (static_cast<uint8_t>(r.left.front()) & 0x3F);
        r.left.remove_prefix(1);
    }
    return unit;
}

bool same_name(std::string_view a, std::string_view b)
{
    Reader left{a}, right{b};
    while (!left.left.empty() && !right.left.empty())
        if (next_character(left) != next_character(right))
            return false;
    return left.left.empty() && right.left.empty();
}

// The names of an object so far; they live on the stack of the objects that they are in.
struct Name {
    std::string_view raw;
    const Name* before;
};

bool read_value(Reader& r, int levels);

// The members from the one in front on; `names` are those before it.
bool read_members(Reader& r, int levels, const Name* names)
{
    Name name{{}, names};
    r.skip_space();
    if (!read_string(r, name.raw))
        return false;
    for (const Name* other = names; other != nullptr; other = other->before)
        if (same_name(name.raw, other->raw))
            return false;
    r.skip_space();
    if (!r.take(':') || !read_value(r, levels))
        return false;
    r.skip_space();
    return r.take('}') || (r.take(',') && read_members(r, levels, &name));
}

bool read_object(Reader& r, int levels)
{
    if (!r.take('{'))
        return false;
    r.skip_space();
    return r.take('}') || read_members(r, levels, nullptr);
}

bool read_array(Reader& r, int levels)
{
    r.skip_space();
    if (r.take(']'))
        return true;
    for (;;) {
        if (!read_value(r, levels))
            return false;
        r.skip_space();
        if (r.take(']'))
            return true;
        if (!r.take(','))
            return false;
    }
}

bool read_value(Reader& r, int levels)
{
    if (levels == 0)
        return false;
    r.skip_space();
    if (r.left.starts_with('{'))
        return read_object(r, levels - 1);
    if (r.take('['))
        return read_array(r, levels - 1);
    std::string_view raw;
    if (r.left.starts_with('"'))
        return read_string(r, raw);
    return r.take_word("true") || r.take_word("false") || r.take_word("null") || read_number(r);
}

} // namespace

bool is_json_object(std::string_view text)
{
    constexpr int levels_max = 100;
    Reader r{text};
    r.skip_space();
    if (!is_strict_utf8(text) || !read_object(r, levels_max - 1))
        return false;
    r.skip_space();
    return r.left.empty();
}

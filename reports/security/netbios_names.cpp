#include "reports/security/netbios_names.h"

namespace {

// Every character that a name may have.
constexpr std::string_view characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                        "0123456789"
                                        " "
                                        "!\"#$%&'()*+,-.=:;@^_{}~";
static_assert(characters.size() == 60);

constexpr size_t name_characters = 15; // the suffix behind them is not part of the text

struct Pair {
    char first, second;
    bool operator==(const Pair&) const = default;
};

constexpr Pair pair_of(char c)
{
    return {static_cast<char>('A' + (c >> 4)), static_cast<char>('A' + (c & 15))};
}
static_assert(pair_of('A') == Pair{'E', 'B'} && pair_of(' ') == Pair{'C', 'A'});

// '\0' when no name character has this pair.
char character_of(Pair pair)
{
    for (char c : characters)
        if (pair_of(c) == pair)
            return c;
    return '\0';
}

char upper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace

NetbiosName netbios_name(const FixedText<31>& encoded)
{
    NetbiosName name;
    std::string_view bytes = encoded.whole();
    char* end = name.text;
    for (size_t i = 0; i < name_characters; i++) {
        char c = character_of({bytes[2 * i], bytes[2 * i + 1]});
        if (c != '\0' && c != ' ')
            *end++ = c;
    }
    *end = '\0';
    return name;
}

bool NetbiosKey::encode(std::string_view typed)
{
    length_ = 0;
    if (typed.size() > name_characters)
        return false;
    for (char c : typed) {
        c = upper(c);
        if (characters.find(c) == std::string_view::npos)
            return false;
        Pair pair = pair_of(c);
        pairs_[length_++] = pair.first;
        pairs_[length_++] = pair.second;
    }
    return true;
}

// Not aligned to pairs, kept so: a key also matches the second letter of one pair and the first of the next.
bool NetbiosKey::occurs_in(const FixedText<31>& encoded) const
{
    return encoded.whole().substr(0, 2 * name_characters).find({pairs_, length_}) != std::string_view::npos;
}

#include "base/text.h"

namespace {

// The letter behind the '%' for an escaped character, or NUL for one that is copied.
char escape_letter(char c)
{
    switch (c) {
    case '\t':
        return 'T';
    case '\n':
        return 'N';
    case '\f':
        return 'C';
    case '\r':
        return 'R';
    case 24:
        return '8';
    case ' ':
        return 'S';
    default:
        return '\0';
    }
}

char square_bracket(char c)
{
    return c == '(' ? '[' : c == ')' ? ']' : c;
}

} // namespace

// These two spare every start strspn() and strcspn(): whatever of the C library a report calls is bound
// there.
char* skip_blanks(char* text)
{
    while (*text == ' ')
        text++;
    return text;
}

void cut_line_end(char* text)
{
    while (*text != '\0' && *text != '\r' && *text != '\n')
        text++;
    *text = '\0';
}

char* clean_text(char* text)
{
    size_t end = 0;
    for (size_t i = 0; text[i] != '\0'; i++) {
        if (text[i] == '\t' || text[i] == '\r' || text[i] == '\n')
            text[i] = ' ';
        if (text[i] != ' ')
            end = i + 1;
    }
    text[end] = '\0';
    return skip_blanks(text);
}

char* printable_text(char* text)
{
    char* first = skip_blanks(text);
    char* end = first;
    while (*end >= 32 && *end <= 126)
        end++;
    *end = '\0';
    return first;
}

size_t escape_token(std::string_view text, std::span<char> out)
{
    if (out.empty())
        return 0;
    size_t used = 0;
    for (char c : text) {
        char letter = escape_letter(c);
        size_t needed = letter != '\0' ? 2 : 1;
        if (out.size() - used <= needed)
            break;
        if (letter != '\0')
            out[used++] = '%';
        out[used++] = letter != '\0' ? letter : square_bracket(c);
    }
    out[used] = '\0';
    return used;
}

int utf8_following_bytes(unsigned char lead)
{
    return lead < 0x80   ? 0
           : lead < 0xC0 ? -1
           : lead < 0xE0 ? 1
           : lead < 0xF0 ? 2
           : lead < 0xF8 ? 3
           : lead < 0xFC ? 4
           : lead < 0xFE ? 5
                         : -1;
}

bool is_utf8(const char* text, size_t length)
{
    int awaited = 0;
    for (size_t i = 0; i < length && text[i] != '\0'; i++) {
        auto byte = static_cast<unsigned char>(text[i]);
        if (awaited == 0)
            awaited = utf8_following_bytes(byte);
        else if ((byte & 0xC0) == 0x80)
            awaited--;
        else
            return false;
        if (awaited < 0)
            return false;
    }
    return awaited == 0;
}

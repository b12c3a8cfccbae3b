// The plain form: everything goes out as it is.
#include "base/form.h"
#include "base/output.h"

char* put_text(char* at, std::string_view text)
{
    if (!text.empty()) // an empty one may have no address
        memcpy(at, text.data(), text.size());
    return at + text.size();
}

char* put_gbk(char* at, std::string_view text)
{
    return put_text(at, text);
}

namespace form {

char* put_separator(char* at, std::string_view plain)
{
    return put_text(at, plain);
}

Verbatim::Verbatim() {}
Verbatim::~Verbatim() {}

void opened(char* row, char* end, size_t room)
{
    output_detail::take_row(row, end, room);
}

void closed(char* row, char* end, size_t room)
{
    output_detail::take_row(row, end, room);
}

void several_documents(bool) {}

bool document(std::string_view, bool again)
{
    return !again;
}

void object(std::string_view separator, std::string_view text)
{
    print_text(separator);
    print_text(text);
}

char* begin_words(size_t room)
{
    return output_detail::room_for(room + 1);
}

void end_words(char* row, char* end, size_t room, Words, bool line_end)
{
    if (line_end)
        *end++ = '\n';
    output_detail::take_row(row, end, room + 1);
}

void said_on_standard_error(std::string_view, Words) {}

void name_lines(std::string_view) {}

void answer(std::string_view text, bool line_end)
{
    print_text(text);
    print_text(line_end ? "\n" : "");
}

void fact(std::string_view, uint32_t, std::string_view plain)
{
    print_text(plain);
    print_text("\n");
}

bool version()
{
    return false;
}

bool always_json()
{
    return false;
}

bool refuses_argument(std::string_view)
{
    return false;
}

bool refuses_packets()
{
    return false;
}

void rest() {}

size_t whole(size_t filled)
{
    return filled;
}

void moved(size_t) {}
void finish(int) {}

std::string_view last_words(std::string_view, int)
{
    return {};
}

} // namespace form

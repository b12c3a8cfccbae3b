#include "base/document.h"

void print_line(std::string_view line)
{
    print_line(FORMAT("{}"), line);
}

void print_answer(std::string_view text, LineEnd line_end)
{
    form::answer(text, line_end == LineEnd::yes);
}

void note(std::string_view text)
{
    note(FORMAT("{}"), text);
}

int refuse(std::string_view token)
{
    return refuse(FORMAT("{}"), token);
}

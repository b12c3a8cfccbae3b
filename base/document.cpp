#include "base/document.h"

void print_line(std::string_view line)
{
    print_line(FORMAT("{}"), line);
}

void print_answer(std::string_view text, LineEnd line_end)
{
    print_text(text);
    if (line_end == LineEnd::yes)
        print_text("\n");
}

void note(std::string_view text)
{
    note(FORMAT("{}"), text);
}

int refuse(std::string_view token)
{
    return refuse(FORMAT("{}"), token);
}

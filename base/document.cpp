#include "base/document.h"

#include <cerrno>

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

static void say_errno(const char* call, form::Words kind)
{
    char words[128];
    format_text(words, FORMAT("{}: {}"), text_of(call), text_of(strerror(errno)));
    perror(call);
    form::said_on_standard_error(words, kind);
}

int refuse_errno(const char* call)
{
    say_errno(call, form::Words::refusal);
    return -1;
}

void note_errno(const char* call)
{
    say_errno(call, form::Words::note);
}

#pragma once
// What a run has to say, in the words of its kind: a document made of openings, rows and closings; the lines
// of a listing; the text of a daemon; messages. A report says which of them it prints and nothing about how.
//
//     print_opening(FORMAT(R"({{"data":[)"));
//     print(FORMAT(R"({}{{"ip":"{}","flows":{}}})"), separator, Ipv4{…}, r.flows);      for each row
//     print_closing(FORMAT(R"(], "total":{}}})"), rows.total());
#include "base/output.h"

// ---- Documents

// What stands between the rows of an array, the first value of a row: the text given. Where that is not what
// valid JSON has there, the report says that it is kept so.
struct Separator {
    std::string_view text;
    char* put(char* at) const { return put_text(at, text); }
    static constexpr size_t most_bytes() { return text_growth; }
};

inline Separator comma_unless(bool first)
{
    return {first ? "" : ","};
}

// Brackets of the document, with what stands around them.
template <RowFormat Format, class... Values> void print_opening(Format format, const Values&... values)
{
    print(format, values...);
}
template <RowFormat Format, class... Values> void print_closing(Format format, const Values&... values)
{
    print(format, values...);
}

// ---- Lines and texts

// One line of a listing, without its line end.
template <RowFormat Format, class... Values> void print_line(Format format, const Values&... values)
{
    const size_t size = room_of(format, values...) + 1;
    char* at = output_detail::room_for(size);
    if (at == nullptr)
        return;
    char* end = put_row(at, format, values...);
    *end++ = '\n';
    output_detail::take_row(at, end, size);
}
void print_line(std::string_view line);

enum class LineEnd { yes, no };

// A daemon's text, as it is.
void print_answer(std::string_view text, LineEnd line_end = LineEnd::no);

// ---- Messages

// Something worth knowing beside the output.
template <RowFormat Format, class... Values> void note(Format format, const Values&... values)
{
    print_line(format, values...);
}
void note(std::string_view text);

// Why a command fails; some of these end without a line end, kept so. Always -1, for `return`.
template <LineEnd line_end = LineEnd::yes, RowFormat Format, class... Values>
int refuse(Format format, const Values&... values)
{
    if constexpr (line_end == LineEnd::yes)
        print_line(format, values...);
    else
        print(format, values...);
    return -1;
}
int refuse(std::string_view token);

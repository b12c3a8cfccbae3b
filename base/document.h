#pragma once
// What a run has to say, in the words of its kind: a document made of openings, rows and closings; the lines
// of a listing; the text of a daemon; messages. A report says which of them it prints and nothing about how:
// the form of the output (base/form.h) is chosen when a program is linked.
//
//     print_opening(FORMAT(R"({{"data":[)"));
//     print(FORMAT(R"({}{{"ip":"{}","flows":{}}})"), separator, Ipv4{…}, r.flows);      for each row
//     print_closing(FORMAT(R"(], "total":{}}})"), rows.total());
#include "base/form.h"
#include "base/output.h"

// ---- Documents

// What stands between the rows of an array, the first value of each row. Where the text is not what valid
// JSON has there, the report says that it is kept so.
struct Separator {
    std::string_view text;
    char* put(char* at) const { return form::put_separator(at, text); }
    static constexpr size_t most_bytes() { return sizeof ","; }
};

inline Separator comma_unless(bool first)
{
    return {first ? "" : ","};
}

// Brackets of the document, with what stands around them.
template <RowFormat Format, class... Values> void print_opening(Format format, const Values&... values)
{
    const size_t room = room_of(format, values...);
    if (char* row = output_detail::room_for(room))
        form::opened(row, put_row(row, format, values...), room);
}
template <RowFormat Format, class... Values> void print_closing(Format format, const Values&... values)
{
    const size_t room = room_of(format, values...);
    if (char* row = output_detail::room_for(room))
        form::closed(row, put_row(row, format, values...), room);
}

// A row that a daemon has made, one JSON object as it should be.
inline void print_object(Separator separator, std::string_view text)
{
    form::object(separator.text, text);
}

// For a report that prints documents one after the other: whether there are several, and the name of the
// next. One that was printed before under another name is printed again only where documents have names.
inline void expect_documents(bool several)
{
    form::several_documents(several);
}
inline bool begin_document(std::string_view name, bool again = false)
{
    return form::document(name, again);
}

// For a walk that waits between rows: the last row is whole, if the run should be stopped.
inline void rest_output()
{
    form::rest();
}

// ---- Lines and texts

// One line of a listing, without its line end.
template <RowFormat Format, class... Values> void print_line(Format format, const Values&... values)
{
    const size_t room = room_of(format, values...);
    if (char* row = form::begin_words(room))
        form::end_words(row, put_row(row, format, values...), room, form::Words::line, true);
}
void print_line(std::string_view line);

// What the lines that follow are called, where that is more than "lines".
inline void name_lines(std::string_view name)
{
    form::name_lines(name);
}

// A number with a line of its own; elsewhere it is a member of this name.
template <RowFormat Format, class... Values>
void print_fact(std::string_view name, uint32_t number, Format format, const Values&... values)
{
    char line[64];
    format_text(line, format, values...);
    form::fact(name, number, line);
}

enum class LineEnd { yes, no };

// What this build is, in the form that has a place for it; false, with nothing printed, in the other.
inline bool print_version()
{
    return form::version();
}

// A daemon's text, as it is.
void print_answer(std::string_view text, LineEnd line_end = LineEnd::no);

// Whether packets cannot go to standard output in this form; that is said then.
inline bool refuses_packets()
{
    return form::refuses_packets();
}

// ---- Messages

// Something worth knowing beside the output.
template <RowFormat Format, class... Values> void note(Format format, const Values&... values)
{
    const size_t room = room_of(format, values...);
    if (char* row = form::begin_words(room))
        form::end_words(row, put_row(row, format, values...), room, form::Words::note, true);
}
void note(std::string_view text);

// Why a command fails; some of these end without a line end, kept so. Always -1, for `return`.
template <LineEnd line_end = LineEnd::yes, RowFormat Format, class... Values>
int refuse(Format format, const Values&... values)
{
    const size_t room = room_of(format, values...);
    if (char* row = form::begin_words(room))
        form::end_words(row, put_row(row, format, values...), room, form::Words::refusal,
                        line_end == LineEnd::yes);
    return -1;
}
int refuse(std::string_view token);

// What the system says of errno, behind the call that failed: on standard error, as perror() does it, and in
// the document of a form that has one. refuse_errno() is why a command fails: always -1.
int refuse_errno(const char* call);
void note_errno(const char* call);

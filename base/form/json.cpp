// The JSON form: whatever a run prints, one valid document goes out.
//
// The reports print the same rows as in the plain form. Texts are decoded and escaped where they are put into
// a row, so that what is left, the openings and closings, can be followed by their brackets; separators are
// put as the brackets ask for it. The bracket that would end the outermost value waits for finish(), since
// notes and the error are its last members.
#include "base/form.h"
#include "base/form/json_messages.h"
#include "base/form/json_object.h"
#include "base/form/json_text.h"
#include "base/output.h"
#include "base/version.h"

namespace {

using output_detail::buffer, output_detail::buffer_size, output_detail::filled, output_detail::Held;

// ---- Where in the document we are

struct Container {
    bool array;
    bool empty;
};
constexpr size_t depth_max = 1024; // of our own rows; the deepest, a tree of groups, has two levels an id
Container open_containers[depth_max];
volatile size_t depth = 0;

// What the outermost object of a run without a document of its own holds.
enum class Content { nothing, document, lines, text } content;
std::string_view lines_name = "lines";
bool finished = false;

// How much of the buffer is whole. Behind it a row may have begun: it was the first of its container or not,
// and if the run ends here it has never been.
volatile size_t whole_bytes = 0;
volatile bool row_begun = false, row_was_first = false;
// A piece of an unfinished row is out already: nothing can make a document of it.
volatile bool out_in_part = false;

Container& top()
{
    return open_containers[depth - 1];
}

void all_is_whole()
{
    whole_bytes = filled;
    row_begun = false;
    out_in_part = false;
}

void begin_row()
{
    row_was_first = top().empty;
    row_begun = true;
}

void enter(bool array)
{
    if (depth > 0)
        top().empty = false;
    if (depth < depth_max)
        depth = depth + 1;
    top() = {array, true};
}

// Follows the brackets of a row; returns its end without the one that closes the outermost container.
char* follow(char* row, char* end)
{
    bool in_string = false;
    for (char* at = row; at < end; at++) {
        const char c = *at;
        if (in_string) {
            at += c == '\\';
            in_string = c != '"';
        } else if (c == '{' || c == '[') {
            enter(c == '[');
        } else if (c == '}' || c == ']') {
            if (depth == 1)
                return at;
            depth = depth - 1;
        } else if (depth > 0 && c != ',' && c != ' ') {
            top().empty = false;
            in_string = c == '"';
        }
    }
    return end;
}

// ---- Printing

enum class Mode { document, decoded, verbatim } mode;

void print_string(std::string_view text, Source source = Source::unknown)
{
    const size_t room = text_growth * text.size();
    if (char* row = output_detail::room_for(room))
        output_detail::take_row(row, put_decoded(row, text, source, Escapes::json), room);
}

void print_comma()
{
    if (!top().empty)
        print_text(",");
    top().empty = false;
}

// A document that may have line ends between its values: the whole is one line, and blanks do as well there.
void print_in_one_line(std::string_view document)
{
    for (size_t end; (end = document.find_first_of("\r\n")) != document.npos;
         document.remove_prefix(end + 1)) {
        print_text(document.substr(0, end));
        print_text(" ");
    }
    print_text(document);
}

// A member of the outermost object, which is opened when nothing is.
void begin_member(std::string_view name)
{
    if (depth == 0) {
        print_text("{");
        enter(false);
    }
    print_comma();
    print_text("\"");
    print_text(name);
    print_text("\":");
}

void begin_lines()
{
    begin_member(lines_name);
    print_text("[");
    enter(true);
    content = Content::lines;
    all_is_whole();
}

// A line, or a text where lines were before.
void print_element(std::string_view text)
{
    print_comma();
    print_text("\"");
    print_string(text);
    print_text("\"");
}

// ---- The end

// Closes what is open, with the messages as the last members of the outermost object or as an object that is
// the last element of the outermost array. `error` is among the messages when one of them is the reason.
void put_end(Sink& sink, const Message* error, bool failed, std::string_view reason, int status, bool notes)
{
    if (content == Content::text)
        sink.put("\"");
    for (size_t i = depth; i > 1; i--)
        sink.put(open_containers[i - 1].array ? "]" : "}");
    Container outermost = depth > 0 ? open_containers[0] : Container{false, true};
    if (depth == 1 && row_begun && row_was_first)
        outermost.empty = true;
    if (depth == 0)
        sink.put("{");
    notes = notes && has_notes(error);
    if (notes || failed) {
        sink.put(outermost.empty ? "" : ",");
        sink.put(outermost.array ? "{" : "");
        if (notes)
            put_notes(sink, error);
        sink.put(notes && failed ? "," : "");
        if (failed)
            put_error(sink, reason, status);
        sink.put(outermost.array ? "}" : "");
    }
    sink.put(outermost.array ? "]\n" : "}\n");
}

} // namespace

char* put_text(char* at, std::string_view text)
{
    if (mode != Mode::verbatim)
        return put_decoded(at, text, Source::unknown, mode == Mode::document ? Escapes::json : Escapes::none);
    if (!text.empty()) // an empty one may have no address
        memcpy(at, text.data(), text.size());
    return at + text.size();
}

char* put_gbk(char* at, std::string_view text)
{
    if (mode == Mode::verbatim)
        return put_text(at, text);
    return put_decoded(at, text, Source::gbk, mode == Mode::document ? Escapes::json : Escapes::none);
}

namespace form {

// The row that follows becomes whole with the next word.
char* put_separator(char* at, std::string_view)
{
    const Held state;
    all_is_whole();
    if (depth == 0)
        return at;
    begin_row();
    if (!top().empty)
        *at++ = ',';
    top().empty = false;
    return at;
}

Verbatim::Verbatim()
{
    mode = Mode::verbatim;
}

Verbatim::~Verbatim()
{
    mode = Mode::document;
}

void opened(char* row, char* end, size_t room)
{
    const Held state;
    content = Content::document;
    output_detail::take_row(row, follow(row, end), room);
    all_is_whole();
}

void closed(char* row, char* end, size_t room)
{
    opened(row, end, room);
}

void several_documents(bool several)
{
    const Held state;
    if (!several)
        return;
    print_text("{");
    enter(false);
    all_is_whole();
}

bool document(std::string_view name, bool)
{
    const Held state;
    if (depth > 0) {
        all_is_whole();
        begin_row();
        begin_member(name);
    }
    return true;
}

void object(std::string_view separator, std::string_view text)
{
    char comma[1];
    char* end = put_separator(comma, separator);
    print_text({comma, static_cast<size_t>(end - comma)});
    if (is_json_object(text)) {
        print_in_one_line(text);
        return;
    }
    print_text("\"");
    print_string(text);
    print_text("\"");
}

char* begin_words(size_t room)
{
    auto* row = static_cast<char*>(malloc(room + 1));
    if (row != nullptr)
        mode = Mode::decoded;
    else
        output_detail::lose_output();
    return row;
}

void end_words(char* row, char* end, size_t, Words kind, bool)
{
    const Held state;
    const std::string_view words(row, static_cast<size_t>(end - row));
    mode = Mode::document;
    if (kind != Words::line || content == Content::document) {
        keep_message(words, kind == Words::refusal);
    } else if (content == Content::text) {
        print_string(words);
        print_text(R"(\n)");
    } else {
        if (content == Content::nothing)
            begin_lines();
        print_element(words);
    }
    free(row);
    all_is_whole();
}

void said_on_standard_error(std::string_view words, Words kind)
{
    const Held state;
    keep_message(words, kind == Words::refusal);
}

void name_lines(std::string_view name)
{
    const Held state;
    lines_name = name;
    begin_lines();
}

// A line end behind the text is not the daemon's.
void answer(std::string_view text, bool)
{
    const Held state;
    if (text.empty())
        return;
    if (content == Content::lines) {
        print_element(text);
    } else {
        if (content == Content::nothing) {
            begin_member("text");
            print_text("\"");
            content = Content::text;
            all_is_whole(); // the text may be more than the buffer holds: a run that ends in it has this
        }
        print_string(text);
    }
    all_is_whole();
}

void fact(std::string_view name, uint32_t number, std::string_view)
{
    const Held state;
    begin_member(name);
    print(FORMAT("{}"), number);
    all_is_whole();
}

bool version()
{
    const Held state;
    begin_member("version");
    print(FORMAT(R"("{}")"), text_of(build_version));
    begin_member("vendor_key");
    print(FORMAT(R"("{}")"), text_of(build_vendor_key));
    all_is_whole();
    return true;
}

bool always_json()
{
    return true;
}

// A daemon takes its text apart at blanks: an argument with one would arrive as two.
bool refuses_argument(std::string_view argument)
{
    for (char c : argument)
        if (static_cast<uint8_t>(c) <= ' ' || c == 127)
            return true;
    return false;
}

bool refuses_packets()
{
    keep_message("packets are no text: use vigil", true);
    return true;
}

void rest()
{
    const Held state;
    all_is_whole();
}

size_t whole(size_t)
{
    return whole_bytes;
}

void moved(size_t count)
{
    out_in_part = out_in_part || count > whole_bytes;
    whole_bytes = count < whole_bytes ? whole_bytes - count : 0;
}

void finish(int status)
{
    const Held state;
    all_is_whole();
    const Message* error = last_refusal();
    const bool lost = output_lost(); // for want of memory: otherwise nobody reads this
    const bool failed = error != nullptr || refusal_lost() || lost || status == -1;
    const std::string_view reason = error != nullptr ? error->view() : lost ? "NO_MEM" : "";
    if (lost)
        status = -1; // as the run ends
    const size_t room = depth + 256 + room_of_messages();
    if (char* row = output_detail::room_for(room)) {
        Sink sink{row, row + room};
        put_end(sink, error, failed, reason, status, true);
        output_detail::take_row(row, sink.at, room);
    }
    finished = true;
    all_is_whole();
}

std::string_view last_words(std::string_view reason, int status)
{
    static char words[2 * depth_max + 4096];
    if (finished || out_in_part)
        return {};
    for (bool notes : {true, false}) { // without them when they are too long
        Sink sink{words, words + sizeof words};
        put_end(sink, nullptr, true, reason, status, notes);
        if (!sink.full)
            return {words, static_cast<size_t>(sink.at - words)};
    }
    return {};
}

} // namespace form

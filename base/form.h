#pragma once
// What differs between the two forms of the output. A program links one of them: form/plain.cpp prints what
// the web layer and scripts are used to, form/json.cpp exactly one valid JSON document in UTF-8, whatever is
// printed. Only base/ and main() call these; reports use the words of base/document.h.
#include "base/format.h"

namespace form {

// ---- Texts in a row: put_text() and put_gbk() of base/wire_types.h

// What stands between two elements: `plain`, or what valid JSON has there.
char* put_separator(char* at, std::string_view plain);

// While one lives, texts are put as they are in either form: in paths, error texts of records, files.
struct Verbatim {
    Verbatim();
    ~Verbatim();
    Verbatim(const Verbatim&) = delete;
};

// ---- Words of a document: each comes behind the row [row, end), for which room_for(room) made room

void opened(char* row, char* end, size_t room);
void closed(char* row, char* end, size_t room);
// A document of its own follows; `several` is told before the first: whether the run prints more than one.
void several_documents(bool several);
bool document(std::string_view name, bool again); // false: it is not to be printed
// A text that should be one JSON object.
void object(std::string_view separator, std::string_view text);

// ---- Lines, texts and messages: what is put at begin_words() is taken over by end_words()

enum class Words { line, note, refusal };
char* begin_words(size_t room); // null: no memory, the words are lost
void end_words(char* row, char* end, size_t room, Words kind, bool line_end);
// A note or refusal that stands on standard error already.
void said_on_standard_error(std::string_view words, Words kind);
// The name under which lines are listed; there is a list even if no line comes.
void name_lines(std::string_view name);
void answer(std::string_view text, bool line_end); // a line end is put behind it, where lines are printed
// What this build is; false where "--version" is a word like any other.
bool version();
// One number that has a line of its own in the plain form.
void fact(std::string_view name, uint32_t number, std::string_view plain);

// ---- What is typed

// Whether JSON is chosen already; the words that choose it then change nothing and are kept from the daemon.
bool always_json();
// Whether an argument must not be passed on to a daemon as one.
bool refuses_argument(std::string_view argument);
// Whether packets cannot go to standard output, with the refusal printed.
bool refuses_packets();

// ---- The end

// All that is printed so far is whole: a run that is stopped now ends behind it.
void rest();
// How much of the `filled` bytes in the buffer may be written out: no row in part.
size_t whole(size_t filled);
// The first `count` bytes of the buffer have been written out or dropped.
void moved(size_t count);

// Completes the output of a run that ends with `status` (-1: it failed).
void finish(int status);
// What a run that is stopped has to add behind the whole rows. Async-signal-safe.
std::string_view last_words(std::string_view reason, int status);

} // namespace form

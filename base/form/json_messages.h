#pragma once
// The messages of a run in the JSON form: kept until its document ends, whose last members they are.
#include <cstddef>
#include <string_view>

struct Message {
    Message* next;
    size_t size;
    char text[]; // decoded, not escaped

    std::string_view view() const { return {text, size}; }
};

// Keeps a copy. Without memory a note is lost output; a refusal fails the run all the same, with its status.
void keep_message(std::string_view text, bool refusal);
// The error of a document that ends now; null: none was kept.
const Message* last_refusal();
// Whether there was one that could not be kept.
bool refusal_lost();

// Where the end of a document is put together: standard output, or memory for a signal handler.
struct Sink {
    char* at;
    char* end;
    bool full = false; // not all that was put has found room

    void put(std::string_view text);
    void put_string(std::string_view text);
};

// The most bytes that all messages take.
size_t room_of_messages();
// The notes are all messages but the one that is the error. Async-signal-safe, as put_error() is.
bool has_notes(const Message* error);
void put_notes(Sink& sink, const Message* error);
void put_error(Sink& sink, std::string_view text, int status);

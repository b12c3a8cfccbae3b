#include "base/form/json_messages.h"

#include "base/form/json_text.h"
#include "base/format.h"
#include "base/output.h"

#include <cstdlib>
#include <cstring>

namespace {

// A signal handler walks the list: each message is whole before it is linked.
Message* volatile first_message = nullptr;
Message** last_link = const_cast<Message**>(&first_message);
const Message* volatile refusal_kept = nullptr;
bool without_memory = false;

} // namespace

void keep_message(std::string_view text, bool refusal)
{
    auto* kept = static_cast<Message*>(malloc(sizeof(Message) + text.size()));
    if (kept == nullptr) {
        without_memory = without_memory || refusal;
        if (!refusal)
            output_detail::lose_output();
        return;
    }
    kept->next = nullptr;
    kept->size = text.size();
    memcpy(kept->text, text.data(), text.size());
    *last_link = kept;
    last_link = &kept->next;
    if (refusal)
        refusal_kept = kept;
}

const Message* last_refusal()
{
    return refusal_kept;
}

bool refusal_lost()
{
    return without_memory;
}

void Sink::put(std::string_view text)
{
    full |= text.size() > static_cast<size_t>(end - at);
    if (full)
        return;
    memcpy(at, text.data(), text.size());
    at += text.size();
}

void Sink::put_string(std::string_view text)
{
    put("\"");
    full |= text_growth * text.size() > static_cast<size_t>(end - at);
    if (!full)
        at = put_decoded(at, text, Source::unknown, Escapes::json);
    put("\"");
}

size_t room_of_messages()
{
    size_t room = 0;
    for (const Message* message = first_message; message != nullptr; message = message->next)
        room += text_growth * message->size + sizeof R"("",)";
    return room;
}

bool has_notes(const Message* error)
{
    return first_message != nullptr && (first_message != error || first_message->next != nullptr);
}

void put_notes(Sink& sink, const Message* error)
{
    bool first = true;
    for (const Message* message = first_message; message != nullptr; message = message->next) {
        if (message == error)
            continue;
        sink.put(first ? R"("notes":[)" : ",");
        sink.put_string(message->view());
        first = false;
    }
    sink.put(first ? "" : "]");
}

void put_error(Sink& sink, std::string_view text, int status)
{
    sink.put(R"("error":{"text":)");
    sink.put_string(text);
    char digits[sizeof "255"];
    char* end = put_row(digits, FORMAT("{}"), status & 255);
    sink.put(R"(,"status":)");
    sink.put({digits, static_cast<size_t>(end - digits)});
    sink.put("}");
}

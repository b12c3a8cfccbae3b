#include "common/fetch.h"

#include "base/document.h"

namespace {

// Code, module and text of a request. What else is in the record stays: a reply goes back as the next
// request, with the cursor and whatever the daemon keeps in it. False with "ARG_TOO_LONG" printed.
bool write_request(const Fetch& fetch, RequestRecord& record)
{
    record.code = fetch.code;
    record.wants_dictionary = 0;
    record.count = 0;
    if (!set_module(record, fetch.module))
        return false;
    if (fetch.write == nullptr) {
        ArgumentText::none(record);
        return true;
    }
    ArgumentText text;
    fetch.write(text, fetch.argc, fetch.argv);
    text.append(fetch.extra);
    return text.finish(record, fetch.nul);
}

} // namespace

void write_trailing(ArgumentText& text, int argc, char** argv)
{
    text.append_all_trailing(argc, argv);
}

void write_leading(ArgumentText& text, int argc, char** argv)
{
    text.append_all_leading(argc, argv);
}

bool request_fits(const Fetch& fetch)
{
    RequestRecord record{};
    return write_request(fetch, record);
}

int fetch_batches(const Fetch& fetch, BatchWalk walk, void* context)
{
    RequestRecord record{};
    bool wants_dictionary = fetch.dictionary_first;
    for (;;) {
        if (!write_request(fetch, record))
            return -1;
        record.wants_dictionary = wants_dictionary ? 1 : 0;
        wants_dictionary = false;
        rest_output();
        if (rpc_exchange(record) != 0)
            return print_error(record);
        const int32_t count = record.count;
        Walk walked = walk(context, answer_of(record));
        if (walked != Walk::on)
            return walked == Walk::end ? 0 : -1;
        if (record.last_batch != 0 || (fetch.stop_when_empty && count <= 0))
            return 0;
        if (output_lost() || reader_is_gone()) // a daemon may have batches for ever
            return -1;
    }
}

int fetch_once(const Fetch& fetch, Answer& answer)
{
    RequestRecord record{};
    if (!write_request(fetch, record))
        return -1;
    record.wants_dictionary = fetch.dictionary_first ? 1 : 0;
    if (rpc_exchange(record) != 0)
        return print_error(record);
    answer = answer_of(record);
    return 0;
}

int fetch_text(const Fetch& fetch)
{
    Answer answer;
    if (fetch_once(fetch, answer) != 0)
        return -1;
    if (answer.length > 0)
        print_answer(text_in(answer));
    return 0;
}

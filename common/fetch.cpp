#include "common/fetch.h"

#include "base/output.h"

#include <cstdlib>
#include <cstring>

namespace {

// The request of every batch. Its text is kept aside, as the answers are written over it.
struct Prepared {
    RequestRecord record;
    char* text = nullptr; // null when there is none
    size_t text_size = 0; // the NUL included
};

int prepare(Fetch& fetch, Prepared& prepared)
{
    if (!start_request(prepared.record, fetch.code, fetch.module))
        return -1;
    if (!fetch.with_text)
        ArgumentText::none(prepared.record);
    else if (!fetch.text.finish(prepared.record, fetch.nul))
        return -1;
    prepared.record.wants_dictionary = fetch.dictionary_first ? 1 : 0;
    return 0;
}

int keep_text(const Fetch& fetch, Prepared& prepared)
{
    if (!fetch.with_text)
        return 0;
    prepared.text_size =
        static_cast<size_t>(prepared.record.data_length) + (fetch.nul == ArgumentText::count_nul ? 0 : 1);
    prepared.text = static_cast<char*>(malloc(prepared.text_size));
    if (prepared.text == nullptr) {
        print_line("NO_MEM");
        return -1;
    }
    memcpy(prepared.text, rpc_segment(), prepared.text_size);
    return 0;
}

} // namespace

int fetch_batches(Fetch& fetch, BatchWalk walk, void* context)
{
    Prepared prepared;
    if (prepare(fetch, prepared) != 0 || keep_text(fetch, prepared) != 0)
        return -1;
    const int32_t data_length = prepared.record.data_length;
    for (RequestRecord& record = prepared.record;;) {
        if (rpc_exchange(record) != 0)
            return print_error(record);
        const int32_t count = record.count;
        Walk walked = walk(context, answer_of(record));
        if (walked != Walk::on)
            return walked == Walk::end ? 0 : -1;
        if (record.last_batch != 0 || (fetch.stop_when_empty && count <= 0))
            return 0;
        // The reply goes back as the next request: the cursor, and whatever else the daemon keeps in it.
        record.code = fetch.code;
        record.data_length = data_length;
        record.data_address = reinterpret_cast<uintptr_t>(rpc_segment());
        record.wants_dictionary = 0;
        record.text.assign(fetch.module != nullptr ? fetch.module : "");
        record.count = 0;
        if (prepared.text != nullptr)
            memcpy(rpc_segment(), prepared.text, prepared.text_size);
    }
}

int fetch_once(Fetch& fetch, Answer& answer)
{
    Prepared prepared;
    if (prepare(fetch, prepared) != 0)
        return -1;
    if (rpc_exchange(prepared.record) != 0)
        return print_error(prepared.record);
    answer = answer_of(prepared.record);
    return 0;
}

int fetch_text(Fetch& fetch)
{
    Answer answer;
    if (fetch_once(fetch, answer) != 0)
        return -1;
    if (answer.length > 0)
        print_text(text_in(answer));
    return 0;
}

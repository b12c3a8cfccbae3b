#pragma once
// Batched fetch: repeats one request until the daemon says that no further batch follows.
#include "link/answer.h"
#include "link/argument_text.h"
#include "link/rpc_session.h"

// Puts arguments into a request's text. It runs for every batch, as the answers are written over the text.
using TextWriter = void(ArgumentText& text, int argc, char** argv);
TextWriter write_trailing; // "%s " each
TextWriter write_leading;  // " %s" each

// One request as it goes out for every batch.
struct Fetch {
    uint32_t code = verb::list;
    const char* module = nullptr; // null for a raw code
    int argc = 0;                 // the arguments that go to the daemon
    char** argv = nullptr;
    TextWriter* write = write_trailing; // null: no argument text, length 0
    const char* extra = "";             // behind the arguments, as it is
    ArgumentText::Nul nul = ArgumentText::count_nul;
    bool dictionary_first = false; // ask for the dictionary with the first request of the run
    bool stop_when_empty = false;  // a batch without records ends the fetch too

    // For a handler that keeps some arguments to itself: gathers the others at the front of its own `argv`.
    void forward(char* argument) { argv[argc++] = argument; }
};

// For a handler that prints before it fetches: false with "ARG_TOO_LONG" printed when the text does not fit
// the segment, as every fetch of it would.
bool request_fits(const Fetch& fetch);

// What a walk over the batches says to the fetch.
enum class Walk {
    on,
    end,    // no further batch is asked for; the fetch returns 0
    failed, // the token is printed; the fetch returns -1
};

// Calls `walk(answer)` for each batch. 0 when the last batch was walked; -1 with the error text,
// "ARG_TOO_LONG" or "INV_REPLY" printed, or once standard output is lost or its reader has gone. What was
// printed before stays printed.
using BatchWalk = Walk (*)(void* context, const Answer& answer);
int fetch_batches(const Fetch& fetch, BatchWalk walk, void* context);

template <class Function> int fetch_batches(const Fetch& fetch, Function&& walk)
{
    using Target = std::remove_reference_t<Function>;
    return fetch_batches(
        fetch, [](void* context, const Answer& answer) { return (*static_cast<Target*>(context))(answer); },
        const_cast<std::remove_const_t<Target>*>(&walk));
}

// Calls `walk(records)` for the fixed-size records of each batch.
template <class Record, class Function> int fetch_records(const Fetch& fetch, Function&& walk)
{
    return fetch_batches(fetch, [&](const Answer& answer) {
        std::span<const Record> records;
        if (records_in(answer, records))
            return walk(records);
        refuse_reply();
        return Walk::failed;
    });
}

// Calls `each(record)` for every record of every batch; it returns bool: false ends the command with -1 (the
// function has printed what there is to say).
template <class Record, class Function> int fetch_each(const Fetch& fetch, Function&& each)
{
    return fetch_records<Record>(fetch, [&](std::span<const Record> records) {
        for (const Record& record : records)
            if (!each(record))
                return Walk::failed;
        return Walk::on;
    });
}

// The same for a walk that waits for memory: `expect(record)` is called some records ahead of `each(record)`.
template <class Record, class Expect, class Function>
int fetch_each(const Fetch& fetch, Expect&& expect, Function&& each)
{
    constexpr size_t ahead = 8;
    return fetch_records<Record>(fetch, [&](std::span<const Record> records) {
        for (size_t i = 0; i < records.size(); i++) {
            if (i + ahead < records.size())
                expect(records[i + ahead]);
            if (!each(records[i]))
                return Walk::failed;
        }
        return Walk::on;
    });
}

// One exchange of the same kind; `answer` is set on success.
int fetch_once(const Fetch& fetch, Answer& answer);

// One exchange whose answer is text, which is printed when its length is above 0.
int fetch_text(const Fetch& fetch);

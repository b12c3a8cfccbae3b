#include "cli/forward.h"

#include "base/document.h"
#include "common/arguments.h"
#include "link/answer.h"
#include "link/rpc_session.h"

static void append_arguments(const Forward& row, int argc, char** argv, ArgumentText& text)
{
    for (const char* argument : arguments(argc, argv)) {
        const char* value = row.rewritten_key != nullptr ? value_of(argument, row.rewritten_key) : nullptr;
        if (row.style == Forward::leading) {
            text.append_leading(argument);
        } else if (value != nullptr) {
            // The key is this member's own: a later change of its form belongs here. Today it comes out as
            // typed.
            text.append(row.rewritten_key);
            text.append_trailing(value);
        } else {
            text.append_trailing(argument);
        }
    }
}

static void show_answer(const Forward& row, const RequestRecord& reply)
{
    bool any = reply.length > 0;
    std::string_view text = text_in(answer_of(reply));
    if (row.show == Forward::text || (row.show == Forward::text_if_any && any))
        print_answer(text);
    else if (row.show == Forward::line_if_any && any)
        print_answer(text, LineEnd::yes);
}

int forward(const Forward& row, int argc, char** argv)
{
    if (argc < row.least || argc > row.most) {
        return refuse(text_of(row.usage));
    }
    RequestRecord record;
    if (!start_request(record, row.code, row.module))
        return -1;
    if (row.style == Forward::none) {
        ArgumentText::none(record);
    } else {
        ArgumentText text;
        append_arguments(row, argc, argv, text);
        if (!text.finish(record, row.nul))
            return -1;
    }
    if (rpc_exchange(record) != 0)
        return print_error(record);
    show_answer(row, record);
    // The low byte is what reaches the caller; -1 would be taken for a failure.
    return row.result == Forward::record_count ? record.count & 255 : 0;
}

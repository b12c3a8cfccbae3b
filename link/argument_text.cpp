#include "link/argument_text.h"

#include "base/document.h"
#include "link/rpc_session.h"

#include <cstring>

void ArgumentText::append(std::string_view piece)
{
    // One byte stays free for the NUL.
    if (too_long_ || length_ >= rpc_segment_size() || piece.size() >= rpc_segment_size() - length_) {
        too_long_ = true;
        return;
    }
    memcpy(rpc_segment() + length_, piece.data(), piece.size());
    length_ += static_cast<uint32_t>(piece.size());
}

void ArgumentText::append_argument(std::string_view argument)
{
    refused_ |= form::refuses_argument(argument);
    append(argument);
}

void ArgumentText::append_trailing(std::string_view argument)
{
    append_argument(argument);
    append(" ");
}

void ArgumentText::append_leading(std::string_view argument)
{
    append(" ");
    append_argument(argument);
}

void ArgumentText::append_all_trailing(int argc, char** argv)
{
    for (int i = 0; i < argc; i++)
        append_trailing(argv[i]);
}

void ArgumentText::append_all_leading(int argc, char** argv)
{
    for (int i = 0; i < argc; i++)
        append_leading(argv[i]);
}

bool ArgumentText::finish(RequestRecord& record, Nul nul)
{
    none(record);
    if (too_long_ || refused_) {
        refuse(too_long_ ? "ARG_TOO_LONG" : "INV_ARG");
        return false;
    }
    if (rpc_segment() != nullptr)
        rpc_segment()[length_] = '\0';
    record.data_length = static_cast<int32_t>(length_ + (nul == count_nul ? 1 : 0));
    return true;
}

void ArgumentText::none(RequestRecord& record)
{
    record.data_address = reinterpret_cast<uintptr_t>(rpc_segment());
    record.data_length = 0;
}

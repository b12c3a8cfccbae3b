#include "link/answer.h"

#include "base/document.h"
#include "link/rpc_session.h"

#include <cstring>

Answer answer_of(const RequestRecord& reply)
{
    Answer answer{.area = {}, .count = reply.count, .length = reply.length};
    // The answer pointer is ours: the exchange set it to the base and moved it past the dictionary arrays.
    const char* base = rpc_segment();
    uint64_t offset = reply.answer_address - reinterpret_cast<uintptr_t>(base);
    if (base != nullptr && offset <= rpc_segment_size())
        answer.area = {base + offset, rpc_segment_size() - static_cast<size_t>(offset)};
    return answer;
}

int refuse_reply()
{
    return refuse("INV_REPLY");
}

bool records_fit(const Answer& answer, size_t size)
{
    return answer.count >= 0 && static_cast<size_t>(answer.count) <= answer.area.size() / size;
}

std::string_view text_at(const Answer& answer, size_t offset)
{
    if (offset >= answer.area.size())
        return {};
    const char* text = answer.area.data() + offset;
    return {text, strnlen(text, answer.area.size() - offset)};
}

#pragma once
// The checked view of an answer: the only place that computes an address in the segment. Everything is
// decided from the caller's private copy of the reply record; what does not fit is refused with the token
// "INV_REPLY".
#include "wire/request.h"

#include <span>
#include <string_view>

struct Answer {
    std::span<const char>
        area;           // from the answer pointer (past any dictionary arrays) to the end of the segment
    int32_t count = 0;  // records, as the daemon says
    int32_t length = 0; // bytes, as the daemon says
};

// The answer of a reply that came without error, from this session's segment.
Answer answer_of(const RequestRecord& reply);

// Prints "INV_REPLY". Always -1.
int refuse_reply();

// `count` records of `size` bytes from the start; false when negative or beyond the area. Prints nothing.
bool records_fit(const Answer& answer, size_t size);

// The answer as fixed-size records; false when they do not fit. Prints nothing.
template <class Record> [[nodiscard]] bool records_in(const Answer& answer, std::span<const Record>& records)
{
    static_assert(alignof(Record) == 1 && std::is_trivially_copyable_v<Record>);
    if (!records_fit(answer, sizeof(Record)))
        return false;
    records = {reinterpret_cast<const Record*>(answer.area.data()), static_cast<size_t>(answer.count)};
    return true;
}

// `size` bytes at `offset`, or null when they do not lie in the area.
inline const char* bytes_at(const Answer& answer, size_t offset, size_t size)
{
    if (offset > answer.area.size() || size > answer.area.size() - offset)
        return nullptr;
    return answer.area.data() + offset;
}

// The next record of an answer of mixed sizes: `size` bytes at `offset`, which is advanced past them.
// Null, and `offset` unchanged, when they do not lie in the area.
inline const char* next_record(const Answer& answer, size_t& offset, size_t size)
{
    const char* record = bytes_at(answer, offset, size);
    if (record != nullptr)
        offset += size;
    return record;
}

// The text at `offset` up to its NUL or the end of the area; empty when the offset lies outside.
std::string_view text_at(const Answer& answer, size_t offset);

// A text answer: up to its NUL or the end of the segment, whatever the length says.
inline std::string_view text_in(const Answer& answer)
{
    return text_at(answer, 0);
}

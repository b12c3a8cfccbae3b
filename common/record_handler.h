#pragma once
// Handlers that take a record: raw commands on the daemon's side, and configuration lines, which travel in
// the same record as a carrier.
#include "wire/request.h"

// Leaves a refusal in the record, if it has one.
using RecordHandler = void(RequestRecord& record);

// The text of a carrier, and of a refusal, takes the reserved bytes behind the text field too.
constexpr size_t carrier_text_size = 120;
static_assert(offsetof(RequestRecord, text) + carrier_text_size == offsetof(RequestRecord, cursor));

inline char* carrier_text(RequestRecord& record)
{
    return reinterpret_cast<char*>(&record) + offsetof(RequestRecord, text);
}

// Fills the carrier's text, cut to 119 characters.
inline void set_carrier_text(RequestRecord& record, std::string_view text)
{
    size_t kept = text.size() < carrier_text_size ? text.size() : carrier_text_size - 1;
    memset(carrier_text(record), 0, carrier_text_size);
    memcpy(carrier_text(record), text.data(), kept);
}

inline void reject(RequestRecord& record, std::string_view message)
{
    record.error = error_code::line_rejected;
    set_carrier_text(record, message);
}

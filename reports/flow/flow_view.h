#pragma once
// What the flow reports read out of a flow record.
#include "base/format.h"
#include "wire/flow.h"

// The records that the outbound listings leave out: of another side than asked for (ischina -1: any), without
// country and region, or of a reserved address range.
bool left_out(const FlowRecord& r, int ischina);

// True when the record's domestic flag is what ischina= asks for.
inline bool on_side(const FlowRecord& r, int ischina)
{
    return ischina == -1 || r.domestic == ischina;
}

// The location texts run together, then "|" and the provider when there is one.
struct LocationText {
    const FlowLocation& location;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return text_growth * sizeof(FlowLocation) + sizeof "|"; }
};

// The text that a record's location is counted under: the region at home, the country elsewhere.
inline std::string_view location_key(const FlowRecord& r)
{
    return r.domestic != 0 ? r.location.region.view() : r.location.country.view();
}

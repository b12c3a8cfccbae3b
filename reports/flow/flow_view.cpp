#include "reports/flow/flow_view.h"

bool left_out(const FlowRecord& r, int ischina)
{
    constexpr std::string_view reserved = "\xb1\xa3\xc1\xf4";
    return !on_side(r, ischina) || (r.location.country.empty() && r.location.region.empty()) ||
           r.location.country.view().starts_with(reserved);
}

char* LocationText::put(char* at) const
{
    const std::string_view bar = location.isp.empty() ? "" : "|";
    return put_row(at, FORMAT("{}{}{}{}{}"), location.country, location.region, location.third, bar,
                   location.isp);
}

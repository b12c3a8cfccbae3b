#include "reports/flow/flow_view.h"

bool left_out(const FlowRecord& r, int ischina)
{
    constexpr std::string_view reserved = "\xb1\xa3\xc1\xf4";
    return !on_side(r, ischina) || (r.location.country.empty() && r.location.region.empty()) ||
           r.location.country.view().starts_with(reserved);
}

LocationText location_text(const FlowLocation& location)
{
    LocationText out;
    size_t used = 0;
    auto put = [&](std::string_view text) {
        memcpy(out.text + used, text.data(), text.size());
        used += text.size();
    };
    put(location.country.view());
    put(location.region.view());
    put(location.third.view());
    std::string_view isp = location.isp.view();
    if (!isp.empty()) {
        put("|");
        put(isp);
    }
    out.text[used] = '\0';
    return out;
}

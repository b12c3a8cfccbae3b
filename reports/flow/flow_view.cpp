#include "reports/flow/flow_view.h"

#include <cstdio>

bool left_out(const FlowRecord& r, int ischina)
{
    constexpr std::string_view reserved = "\xb1\xa3\xc1\xf4";
    return !on_side(r, ischina) || (r.location_1.empty() && r.location_2.empty()) ||
           r.location_1.view().starts_with(reserved);
}

LocationText location_text(const FlowRecord& r)
{
    LocationText out;
    size_t used = 0;
    auto put = [&](std::string_view text) {
        memcpy(out.text + used, text.data(), text.size());
        used += text.size();
    };
    put(r.location_1.view());
    put(r.location_2.view());
    put(r.location_3.view());
    std::string_view isp = r.isp.view();
    if (!isp.empty()) {
        put("|");
        put(isp);
    }
    out.text[used] = '\0';
    return out;
}

// tcpreset list: one line a connection that was reset.
#include "base/clock.h"
#include "base/output.h"
#include "link/dictionary.h"
#include "reports/flow/address_text.h"
#include "reports/flow/flow.h"
#include "reports/flow/reset_view.h"

namespace {

struct Piece {
    char text[112];
};

// Source, port, destination; IPv4 addresses as plain numbers.
Piece endpoints(const ResetRecord& r, const ResetAddresses* ipv6)
{
    Piece out;
    if (ipv6 != nullptr)
        snprintf(out.text, sizeof out.text, "%s %d %s", ipv6_text(ipv6->source.bytes).text, r.port + 0,
                 ipv6_text(ipv6->destination.bytes).text);
    else
        snprintf(out.text, sizeof out.text, "%u %d %u", r.source + 0, r.port + 0, r.destination + 0);
    return out;
}

// A time in hundredths, "0" for none.
Piece hundredths(uint32_t value)
{
    Piece out{"0"};
    if (value != 0)
        snprintf(out.text, sizeof out.text, "%u.%02u", value / 100, value % 100);
    return out;
}

Piece http_status(uint32_t status)
{
    Piece out{""};
    if (status != 0)
        snprintf(out.text, sizeof out.text, "|%d", static_cast<int>(status));
    return out;
}

void print_reset(const ResetRecord& r, const ResetAddresses* ipv6)
{
    // The port stands on the line twice, kept so.
    // clang-format off
    print("%u %s"
          " %s %s"
          " %s %d"
          " %s %s %s"
          " %d %d %d"
          " %s%s\n",
          r.time, time_text(r.time).text,
          application_name(r.application()), application_second_name(r.application()),
          endpoints(r, ipv6).text, r.port + 0,
          hundredths(r.timing_middle()).text, hundredths(r.timing_high()).text, hundredths(r.timing_low()).text,
          r.value_24, r.value_26, r.value_32,
          r.name.empty() ? "NULL" : text_of(r.name).text, http_status(r.http_status()).text);
    // clang-format on
}

} // namespace

int tcpreset_list(int argc, char** argv)
{
    Fetch fetch = reset_request(argc, argv);
    return fetch_resets(fetch, print_reset);
}

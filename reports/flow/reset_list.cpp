// tcpreset list: one line a connection that was reset.
#include "base/clock.h"
#include "base/output.h"
#include "link/dictionary.h"
#include "reports/flow/address_text.h"
#include "reports/flow/flow.h"
#include "reports/flow/piece.h"
#include "reports/flow/reset_view.h"

namespace {

// Source, port, destination; IPv4 addresses as plain numbers.
Piece<2 * sizeof(Ipv6Text) + sizeof " 65535 "> endpoints(const ResetRecord& r, const ResetAddresses* ipv6)
{
    Piece<2 * sizeof(Ipv6Text) + sizeof " 65535 "> out;
    if (ipv6 != nullptr)
        out.put(ipv6_text(ipv6->source.bytes).text)
            .put(" ")
            .put(r.port)
            .put(" ")
            .put(ipv6_text(ipv6->destination.bytes).text);
    else
        out.put(r.source).put(" ").put(r.port).put(" ").put(r.destination);
    return out;
}

// A time in hundredths, "0" for none.
Piece<sizeof "2621.43"> time_word(uint32_t hundredths)
{
    Piece<sizeof "2621.43"> out;
    if (hundredths == 0)
        out.put("0");
    else
        out.put_hundredths(hundredths);
    return out;
}

Piece<sizeof "|1023"> http_status(uint32_t status)
{
    Piece<sizeof "|1023"> out;
    if (status == 0)
        out.put("");
    else
        out.put("|").put(status);
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
          time_word(r.timing_middle()).text, time_word(r.timing_high()).text, time_word(r.timing_low()).text,
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

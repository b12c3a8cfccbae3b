// tcpreset list: one line a connection that was reset.
#include "base/address.h"
#include "base/clock.h"
#include "base/document.h"
#include "link/dictionary.h"
#include "reports/flow/flow.h"
#include "reports/flow/fold.h"
#include "reports/flow/reset_view.h"

namespace {

// IPv4 addresses stand on the line as plain numbers.
struct ResetAddress {
    const WireAddress* ipv6; // null for an IPv4 record
    be32 ipv4;
    char* put(char* at) const { return ipv6 != nullptr ? Ipv6{ipv6->bytes}.put(at) : ipv4.put(at); }
    static constexpr size_t most_bytes() { return Ipv6::most_bytes(); }
};

// A time in hundredths, "0" for none.
struct Timing {
    uint32_t hundredths;
    char* put(char* at) const
    {
        return hundredths == 0 ? put_text(at, "0")
                               : put_row(at, FORMAT("{}.{}"), hundredths / 100, TwoDigits{hundredths % 100});
    }
    static constexpr size_t most_bytes() { return sizeof "2621.43"; }
};

// Nothing for none.
struct HttpStatus {
    uint32_t status;
    char* put(char* at) const { return status == 0 ? at : put_row(at, FORMAT("|{}"), status); }
    static constexpr size_t most_bytes() { return sizeof "|1023"; }
};

void print_reset(const ResetRecord& r, const ResetAddresses* ipv6)
{
    // The port stands on the line twice, kept so.
    // clang-format off
    print_line(FORMAT("{} {}"
                      " {} {}"
                      " {} {} {} {}"
                      " {} {} {}"
                      " {} {} {}"
                      " {}{}"),
               r.time, LocalTime{r.time},
               text_of(application_name(r.application())), text_of(application_second_name(r.application())),
               ResetAddress{ipv6 != nullptr ? &ipv6->source : nullptr, r.source}, r.port,
               ResetAddress{ipv6 != nullptr ? &ipv6->destination : nullptr, r.destination}, r.port,
               Timing{r.timing_middle()}, Timing{r.timing_high()}, Timing{r.timing_low()},
               r.value_24, r.value_26, r.value_32,
               or_null(r.name.view()), HttpStatus{r.http_status()});
    // clang-format on
}

} // namespace

int tcpreset_list(int argc, char** argv)
{
    return fetch_resets(reset_request(argc, argv), print_reset);
}

// The addresses that the daemon takes for malicious, a line each.
#include "base/address.h"
#include "base/document.h"
#include "common/fetch.h"
#include "reports/security/security.h"

int malcip_list(int argc, char** argv)
{
    Fetch fetch{.module = "malcip", .argc = argc, .argv = argv};
    return fetch_each<be32>(fetch, [](const be32& address) {
        print_line(FORMAT("{}"), Ipv4{address});
        return true;
    });
}

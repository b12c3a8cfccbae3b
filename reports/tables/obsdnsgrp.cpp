// obsdnsgrp dumpgrp: the domain names of one group.
#include "base/output.h"
#include "common/fetch.h"
#include "reports/tables/tables.h"

int obsdnsgrp_dumpgrp(int argc, char** argv)
{
    if (argc < 1)
        return refuse("dns list group-id");
    Fetch fetch{.code = verb::get, .module = "obsdnsgrp"};
    fetch.text.append("id=");
    fetch.text.append_trailing(argv[0]);
    fetch.text.append("dns=1");
    return fetch_text(fetch);
}

// obsdnsgrp dumpgrp: the domain names of one group.
#include "base/document.h"
#include "common/fetch.h"
#include "reports/tables/tables.h"

int obsdnsgrp_dumpgrp(int argc, char** argv)
{
    if (argc < 1)
        return refuse("dns list group-id");
    auto write = [](ArgumentText& text, int, char** words) {
        text.append("id=");
        text.append_trailing(words[0]);
        text.append("dns=1");
    };
    return fetch_text({.code = verb::get, .module = "obsdnsgrp", .argc = 1, .argv = argv, .write = write});
}

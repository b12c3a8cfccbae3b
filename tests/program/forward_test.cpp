// Every forwarding verb, one row a line: what it sends, how it prints the answer, what it returns.
#include "tests/support/program.h"

#include <gtest/gtest.h>

namespace {

enum Style { none, trailing_counted, trailing_uncounted, leading_uncounted };
enum Show { text, text_if_any, line_if_any, nothing };
enum Result { zero, records };
constexpr Daemon A = Daemon::analysis, M = Daemon::management;

struct Member {
    const char* module;
    const char* verb;
    uint32_t code;
    Daemon daemon;
    const char* sent; // module name in the record
    Style style;
    Show show;
    Result result;
    uint32_t segment_kib;
    const char* key = "k=";      // one that the member knows
    const char* usage = nullptr; // printed with fewer than `least` arguments
    int least = 0;
};

// clang-format off
const Member members[] = {
    {"obslog",        "stat",    2050, A, "obslog",        trailing_counted,   text,        zero,      64, "tag="},
    {"obslog",        "get",     2054, A, "obslog",        trailing_counted,   nothing,     zero,      64},
    {"obsquery",      "stat",    2050, A, "obsquery",      none,               text,        records,   64},
    {"worker",        "stat",    2050, A, "worker",        trailing_counted,   text,        records, 2048, "taskid="},
    {"worker",        "list",    2055, A, "worker",        trailing_uncounted, text,        zero,    8192, "type="},
    {"worker",        "add",     2051, A, "worker",        trailing_counted,   text,        records, 4096, "taskname="},
    {"disk",          "stat",    2050, A, "disk",          none,               text,        zero,    2048},
    {"obssegdelay",   "stat",    2050, A, "obssegdelay",   none,               text,        zero,    1024},
    {"condtunnel",    "stat",    2050, A, "condtunnel",    none,               text_if_any, zero,      64},
    {"applevel",      "list",    2055, A, "applevel",      none,               nothing,     zero,    1024},
    {"tunwltable",    "remove",  2052, A, "tunwltable",    trailing_counted,   nothing,     zero,      64, "ip=", "tunwltable remove ip=xxxx\n", 1},
    {"obsreasslog",   "remove",  2052, M, "obsreasslog",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasslog",   "config",  2057, M, "obsreasslog",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasspkt",   "set",     2053, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasspkt",   "get",     2054, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasspkt",   "add",     2051, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasspkt",   "disable", 2049, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasspkt",   "debug",   2064, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasspkt",   "remove",  2052, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    // the run-on
    {"obsreasslog",   "set",     2053, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasslog",   "get",     2054, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasslog",   "add",     2051, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasslog",   "disable", 2049, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"obsreasslog",   "debug",   2064, M, "obsreasspkt",   leading_uncounted,  text_if_any, zero,      64},
    {"netev_chart",   "stat",    2050, M, "netev_chart",   none,               text_if_any, zero,      64},
    {"netev_chart",   "list",    2055, M, "netev_chart",   none,               text_if_any, zero,     128},
    {"nevtlog",       "config",  2057, M, "nevt_log",      leading_uncounted,  text_if_any, zero,      64},
    {"nevtlog",       "remove",  2052, M, "nevt_log",      leading_uncounted,  text_if_any, zero,      64},
    {"hostinfo",      "stat",    2050, M, "obshost",       none,               text_if_any, zero,      64},
    {"hostinfo",      "config",  2057, M, "obshost",       none,               text_if_any, zero,      64},
    {"obstopogrp",    "stat",    2050, M, "obstopogrp",    none,               text_if_any, zero,      64},
    {"obstopogrp",    "add",     2051, M, "obstopogrp",    leading_uncounted,  line_if_any, zero,      64},
    {"obstopogrp",    "remove",  2052, M, "obstopogrp",    leading_uncounted,  nothing,     zero,      64},
    {"obstopogrp",    "config",  2057, M, "obstopogrp",    leading_uncounted,  text_if_any, zero,      64},
    {"mempcap",       "stat",    2050, M, "mempcap",       none,               text_if_any, zero,      64},
    {"mempcap",       "list",    2055, M, "mempcap",       leading_uncounted,  text_if_any, zero,      64},
    {"mempcap",       "add",     2051, M, "mempcap",       leading_uncounted,  text_if_any, zero,      64},
    {"mempcap",       "remove",  2052, M, "mempcap",       leading_uncounted,  text_if_any, zero,      64},
    {"mempcap",       "set",     2053, M, "mempcap",       leading_uncounted,  text_if_any, zero,      64},
    {"mempcap",       "config",  2057, M, "mempcap",       leading_uncounted,  text_if_any, zero,      64},
    {"mempcap",       "get",     2054, M, "mempcap",       leading_uncounted,  text_if_any, zero,      64},
    {"qtde",          "config",  2057, M, "qtde",          leading_uncounted,  nothing,     zero,      64},
    {"qtde",          "stat",    2050, M, "qtde",          none,               text,        zero,      64},
    {"obsiptable",    "addip",   2051, M, "obsiptable",    trailing_counted,   nothing,     zero,      64, "tag=", "vigil obsiptable|table addip tid=n ip=xxx info=xxxx\n", 2},
    {"obsiptable",    "remove",  2052, M, "obsiptable",    trailing_counted,   nothing,     zero,      64, "tag=", "obsiptable remove tid=n ip=xxxx\n", 1},
    {"obsiptable",    "clear",   2052, M, "obsiptable",    trailing_counted,   nothing,     zero,      64, "tag=", "vigil obsiptable remove clear=1 table=xxx\n", 1},
    {"obsiptable",    "getcmp",  2054, M, "obsiptable",    trailing_counted,   text_if_any, zero,    2048, "tag=", "vigil obsiptable get getcmp=1 table=xxx\n", 1},
    {"whiteip",       "stat",    2050, M, "whiteip",       none,               text,        zero,      64},
    {"dnstuncheck",   "stat",    2050, M, "dnstuncheck",   none,               text,        zero,      64},
    {"dnstunwltable", "remove",  2052, M, "dnstunwltable", trailing_counted,   nothing,     zero,      64, "ip=", "dnstunwltable remove ip=xxxx\n", 1},
    {"mysqlrd",       "list",    2055, M, "mysqlrd",       trailing_counted,   text,        records,   64},
    {"mysqlrd",       "stat",    2050, M, "mysqlrd",       none,               text,        records,   64},
    {"idssum",        "stat",    2050, M, "idssum",        none,               text,        zero,      64},
    {"idssum",        "remove",  2052, M, "idssum",        trailing_counted,   nothing,     zero,      64, "sid=", "idssum remove cata_id=n sid=xxxx\n", 2},
    {"idssum",        "config",  2057, M, "idssum",        trailing_counted,   nothing,     zero,      64, "sid=", "idssum config cata_id=n cata_enable=xxxx\n", 2},
    {"obsnetbrch",    "list",    2055, M, "obsnetbrch",    leading_uncounted,  text_if_any, zero,      64},
    {"obsnetbrch",    "stat",    2050, M, "obsnetbrch",    none,               text,        zero,      64},
    {"obsnetbrch",    "add",     2051, M, "obsnetbrch",    leading_uncounted,  nothing,     zero,      64},
    {"obsnetbrch",    "remove",  2052, M, "obsnetbrch",    leading_uncounted,  nothing,     zero,      64},
    {"obsnetbrch",    "config",  2057, M, "obsnetbrch",    leading_uncounted,  nothing,     zero,      64},
    {"netev_session", "stat",    2050, M, "netev_session", none,               text,        zero,      64},
    {"obstopo",       "add",     2051, M, "obstopo",       leading_uncounted,  line_if_any, zero,      64},
    {"obstopo",       "list",    2055, M, "obstopo",       leading_uncounted,  text,        zero,      64},
    {"obstopo",       "stat",    2050, M, "obstopo",       none,               text,        zero,      64},
    {"obstopo",       "config",  2057, M, "obstopo",       leading_uncounted,  nothing,     zero,      64},
    {"obstopo",       "remove",  2052, M, "obstopo",       leading_uncounted,  nothing,     zero,      64},
    {"obstplink",     "add",     2051, M, "obstplink",     leading_uncounted,  nothing,     zero,      64},
    {"obstplink",     "list",    2055, M, "obstplink",     leading_uncounted,  text,        zero,      64},
    {"obstplink",     "stat",    2050, M, "obstplink",     none,               text_if_any, zero,      64},
    {"obstplink",     "config",  2057, M, "obstplink",     leading_uncounted,  nothing,     zero,      64},
    {"obstplink",     "remove",  2052, M, "obstplink",     leading_uncounted,  nothing,     zero,      64},
    {"obstplink",     "set",     2053, M, "obstplink",     leading_uncounted,  nothing,     zero,      64},
    {"obssyslog",     "stat",    2050, M, "obssyslog",     none,               text,        zero,      64},
    {"obssyslog",     "config",  2057, M, "obssyslog",     leading_uncounted,  nothing,     zero,      64},
    {"obssshlog",     "stat",    2050, M, "obssshlog",     none,               text,        zero,      64},
    {"obssshlog",     "config",  2057, M, "obssshlog",     leading_uncounted,  nothing,     zero,      64},
    {"obstlslog",     "stat",    2050, M, "obstlslog",     none,               text,        zero,      64},
    {"obstlslog",     "config",  2057, M, "obstlslog",     leading_uncounted,  nothing,     zero,      64},
    {"obsnetbios",    "stat",    2050, M, "obsnetbios",    none,               text,        zero,      64},
    {"obsnetbios",    "config",  2057, M, "obsnetbios",    leading_uncounted,  nothing,     zero,      64},
};
// clang-format on

Data sent_text(const Member& m, const std::vector<std::string>& arguments)
{
    std::string text;
    for (const std::string& argument : arguments)
        text += m.style == leading_uncounted ? " " + argument : argument + " ";
    return m.style == none ? Data{} : m.style == trailing_counted ? counted(text) : uncounted(text);
}

Case run_of(const Member& m, const char* what, const std::vector<std::string>& arguments, const Reply& reply)
{
    std::vector<std::string> words{m.module, m.verb};
    words.insert(words.end(), arguments.begin(), arguments.end());
    Request request{.code = m.code,
                    .module = m.sent,
                    .data = sent_text(m, arguments),
                    .segment_size = m.segment_kib * 1024};
    return {.name = std::string(m.module) + " " + m.verb + ": " + what,
            .arguments = words,
            .daemon = m.daemon,
            .exchanges = {{request, reply}}};
}

TEST(Forward, SendsItsArgumentsAndPrintsTheAnswer)
{
    for (const Member& m : members) {
        Case one = run_of(m, "answer", {std::string(m.key) + "x y", "%s=100%"},
                          {.answer = std::string("one %d\ntwo\0hidden", 17), .count = 7});
        one.output = m.show == nothing ? "" : m.show == line_if_any ? "one %d\ntwo\n" : "one %d\ntwo";
        one.status = m.result == records ? 7 : 0;
        run_case(one);
    }
}

// A length of 0 means no answer only to those that look at it; the others print what lies in the segment.
TEST(Forward, LooksAtTheLengthWhereItShould)
{
    for (const Member& m : members) {
        Case one = run_of(m, "empty", {"a=1", "b=2"}, {.answer = "left", .length = 0});
        one.output = m.show == text ? "left" : "";
        run_case(one);
    }
}

TEST(Forward, PrintsTheRefusal)
{
    for (const Member& m : members) {
        Case one = run_of(m, "refusal", {"a=1", "b=2"},
                          {.answer = "not shown", .count = 3, .error = 8, .error_text = "REFUSED %s"});
        one.output = "REFUSED %s\n";
        one.status = 255;
        run_case(one);
    }
}

TEST(Forward, WantsItsLeastArguments)
{
    for (const Member& m : members) {
        Case one = run_of(m, "no arguments", {}, {});
        if (m.usage != nullptr) {
            one.arguments.insert(one.arguments.end(), static_cast<size_t>(m.least - 1), "a=1");
            one.exchanges = {};
            one.output = m.usage;
            one.status = 255;
        }
        run_case(one);
    }
}

// clang-format off
TEST(Forward, Oddities)
{
    const std::string full(65536, 'z');
    const Case cases[] = {
        // the count becomes the status, of which eight bits arrive
        command("worker add taskname=x", A, {{{.code = 2051, .module = "worker", .data = {"taskname=x ", 12}}, {.count = 259}}}, "", 3),
        command("mysqlrd stat", M, {{{.code = 2050, .module = "mysqlrd"}, {.answer = "text", .count = -1}}}, "text", 255),
        // exactly two arguments
        command("idssum remove a=1 b=2 c=3", M, {}, "idssum remove cata_id=n sid=xxxx\n", 255),
        command("idssum config a=1 b=2 c=3", M, {}, "idssum config cata_id=n cata_enable=xxxx\n", 255),
        command("obslog stat", A, {{{.code = 2050, .module = "obslog", .data = trailing("")}, {.answer = full, .length = 3}}}, full),
        command("mempcap stat", M, {{{.code = 2050, .module = "mempcap"}, {.answer = "text", .length = 0x7fffffff}}}, "text"),
        command("mempcap stat", M, {{{.code = 2050, .module = "mempcap"}, {.answer = "text", .length = -5}}}, ""),
    };
    run_cases(cases);
}
// clang-format on

} // namespace

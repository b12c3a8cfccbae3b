// Every verb that only asks, one row a line: what it sends, how it prints the answer, what it returns.
#include "tests/support/program.h"

#include <gtest/gtest.h>

namespace {

enum Style { none, trailing_counted, trailing_uncounted, leading_uncounted };
enum Show { text, text_if_any, line_if_any, nothing };
enum Result { zero, records };
constexpr Daemon A = Daemon::analysis, M = Daemon::management;

struct Member {
    std::string modules, verbs; // that differ in nothing else, apart from the verb's code
    Daemon daemon;
    Style style;
    Show show;
    Result result;
    uint32_t segment_kib;
    const char* sent = nullptr;  // module name in the record, when it is not the module's
    const char* key = "k=";      // one that the member knows
    const char* usage = nullptr; // printed with fewer than `least` arguments
    int least = 0;
    uint32_t code = 0; // a raw one, which goes without a module's name
};

// clang-format off
const Member rows[] = {
    {"obslog",        "stat",          A, trailing_counted,   text,        zero,      64, nullptr, "tag="},
    {"obslog",        "get",           A, trailing_counted,   nothing,     zero,      64},
    {"obsquery",      "stat",          A, none,               text,        records,   64},
    {"worker",        "stat",          A, trailing_counted,   text,        records, 2048, nullptr, "taskid="},
    {"worker",        "list",          A, trailing_uncounted, text,        zero,    8192, nullptr, "type="},
    {"worker",        "add",           A, trailing_counted,   text,        records, 4096, nullptr, "taskname="},
    {"disk",          "stat",          A, none,               text,        zero,    2048},
    {"obssegdelay",   "stat",          A, none,               text,        zero,    1024},
    {"condtunnel",    "stat",          A, none,               text_if_any, zero,      64},
    {"applevel",      "list",          A, none,               nothing,     zero,    1024},
    {"tunwltable",    "remove",        A, trailing_counted,   nothing,     zero,      64, nullptr, "ip=", "tunwltable remove ip=xxxx\n", 1},
    {"obsreasslog",   "remove config", M, leading_uncounted,  text_if_any, zero,      64},
    {"obsreasspkt",   "set get add disable debug remove", M, leading_uncounted, text_if_any, zero, 64},
    {"obsreasslog",   "set get add disable debug", M, leading_uncounted, text_if_any, zero, 64, "obsreasspkt"}, // the run-on
    {"netev_chart obstopogrp mempcap obstplink", "stat", M, none, text_if_any, zero,  64},
    {"netev_chart",   "list",          M, none,               text_if_any, zero,     128},
    {"nevtlog",       "config remove", M, leading_uncounted,  text_if_any, zero,      64, "nevt_log"},
    {"hostinfo",      "stat config",   M, none,               text_if_any, zero,      64, "obshost"},
    {"obstopogrp obstopo", "add",      M, leading_uncounted,  line_if_any, zero,      64},
    {"obstopogrp",    "remove",        M, leading_uncounted,  nothing,     zero,      64},
    {"obstopogrp",    "config",        M, leading_uncounted,  text_if_any, zero,      64},
    {"mempcap",       "list add remove set config get", M, leading_uncounted, text_if_any, zero, 64},
    {"obsiptable",    "addip",         M, trailing_counted,   nothing,     zero,      64, nullptr, "tag=", "vigil obsiptable|table addip tid=n ip=xxx info=xxxx\n", 2},
    {"obsiptable",    "remove",        M, trailing_counted,   nothing,     zero,      64, nullptr, "tag=", "obsiptable remove tid=n ip=xxxx\n", 1},
    {"obsiptable",    "clear",         M, trailing_counted,   nothing,     zero,      64, nullptr, "tag=", "vigil obsiptable remove clear=1 table=xxx\n", 1},
    {"obsiptable",    "getcmp",        M, trailing_counted,   text_if_any, zero,    2048, nullptr, "tag=", "vigil obsiptable get getcmp=1 table=xxx\n", 1},
    {"qtde whiteip dnstuncheck idssum obsnetbrch netev_session obstopo obssyslog obssshlog obstlslog obsnetbios", "stat", M, none, text, zero, 64},
    {"qtde obssyslog obssshlog obstlslog obsnetbios", "config", M, leading_uncounted, nothing, zero, 64},
    {"dnstunwltable", "remove",        M, trailing_counted,   nothing,     zero,      64, nullptr, "ip=", "dnstunwltable remove ip=xxxx\n", 1},
    {"mysqlrd",       "list",          M, trailing_counted,   text,        records,   64},
    {"mysqlrd",       "stat",          M, none,               text,        records,   64},
    {"idssum",        "remove",        M, trailing_counted,   nothing,     zero,      64, nullptr, "sid=", "idssum remove cata_id=n sid=xxxx\n", 2},
    {"idssum",        "config",        M, trailing_counted,   nothing,     zero,      64, nullptr, "sid=", "idssum config cata_id=n cata_enable=xxxx\n", 2},
    {"obsnetbrch",    "list",          M, leading_uncounted,  text_if_any, zero,      64},
    {"obsnetbrch",    "add remove config", M, leading_uncounted, nothing,  zero,      64},
    {"obstopo obstplink", "list",      M, leading_uncounted,  text,        zero,      64},
    {"obstopo",       "config remove", M, leading_uncounted,  nothing,     zero,      64},
    {"obstplink",     "add config remove set", M, leading_uncounted, nothing, zero,   64},
    // Without a handler of their own.
    {"module",         "list",          A, trailing_counted,   text_if_any, zero,      64, nullptr, "k=", nullptr, 0, 387},
    {"module",         "stat",          A, trailing_counted,   text_if_any, zero,      64, nullptr, "k=", nullptr, 0, 388},
    {"table",          "loadfile",      A, trailing_counted,   text_if_any, zero,      64, nullptr, "k=", nullptr, 0, 249},
    {"keytbl",         "list",          A, trailing_counted,   text_if_any, zero,       4, nullptr, "k=", nullptr, 0, 282},
    {"assetsgroup2 assetsobj2", "add set stat", A, trailing_counted, text_if_any, zero, 64},
    {"assetsgroup2 assetsobj2", "remove", A, trailing_counted, text_if_any, zero,    256},
    {"assetsgroup2",  "list",          A, trailing_counted,   text_if_any, zero,    2048},
    {"obssegdelay",   "set",           A, trailing_counted,   text_if_any, zero,    1024},
    {"obsreasslog obsreasspkt", "stat", M, trailing_counted,  text_if_any, zero,      64},
    {"assetsgroup assetsobj obstable obsdnsgrp", "add set stat", M, trailing_counted, text_if_any, zero, 64},
    {"assetsgroup assetsobj obstable obsdnsgrp", "remove", M, trailing_counted, text_if_any, zero, 256},
    {"assetsgroup obstable obsdnsgrp", "list", M, trailing_counted, text_if_any, zero, 2048},
    {"obstable obsdnsgrp", "get",      M, trailing_counted,   text_if_any, zero,    2048},
    {"obsdnsgrp",     "load loadfile", M, trailing_counted,   text_if_any, zero,    2048},
    {"assetsobj",     "load",          M, trailing_counted,   text_if_any, zero,    2048},
    {"assetsobj",     "get",           M, trailing_counted,   text_if_any, zero,      64},
    {"obsiptable",    "loadfile",      M, trailing_counted,   text_if_any, zero,      64},
    {"mysqlrd",       "config",        M, trailing_counted,   text_if_any, zero,      64},
    // The fallback: any module, the analysis daemon, sizes of its own; also where a table holds the module without the verb.
    {"gadget",        "stat config add set remove load", A, trailing_counted, text_if_any, zero, 16},
    {"gadget",        "get",           A, trailing_counted,   text_if_any, zero,      64},
    {"gadget sysboot", "list",         A, trailing_counted,   text_if_any, zero,    2048},
    {"gadget worker", "debug",         A, trailing_counted,   text_if_any, zero,     128},
    {"ipobj",         "stat",          A, trailing_counted,   text_if_any, zero,      16},
    {"obslog",        "config",        A, trailing_counted,   text_if_any, zero,      16},
};
// clang-format on

// The code of a generic verb.
uint32_t code_of(const std::string& verb)
{
    static const std::map<std::string, uint32_t> codes = {
        {"disable", 2049}, {"stat", 2050},   {"add", 2051},  {"addip", 2051}, {"remove", 2052},   {"clear", 2052},  {"set", 2053},
        {"get", 2054},     {"getcmp", 2054}, {"list", 2055}, {"load", 2056},  {"loadfile", 2056}, {"config", 2057}, {"debug", 2064}};
    return codes.at(verb);
}

Data sent_text(const Member& m, const std::vector<std::string>& arguments)
{
    std::string text;
    for (const std::string& argument : arguments)
        text += m.style == leading_uncounted ? " " + argument : argument + " ";
    return m.style == none ? Data{} : m.style == trailing_counted ? counted(text) : uncounted(text);
}

// What every row does: with an answer, with an empty one, with a refusal, and without arguments.
void run_member(const Member& m, const std::string& module, const std::string& verb)
{
    const std::string named = m.sent != nullptr ? m.sent : module;
    auto run = [&](std::vector<std::string> arguments, const Reply& reply, const std::string& output, int status) {
        Request request{.code = m.code != 0 ? m.code : code_of(verb),
                        .module = m.code != 0 ? "" : named,
                        .data = sent_text(m, arguments),
                        .segment_size = m.segment_kib * 1024};
        arguments.insert(arguments.begin(), {module, verb});
        run_case({.name = testing::PrintToString(arguments) + reply.answer,
                  .arguments = arguments,
                  .daemon = m.daemon,
                  .exchanges = {{request, reply}},
                  .output = output,
                  .status = status});
    };
    const std::string shown = m.show == nothing ? "" : m.show == line_if_any ? "one %d\ntwo\n" : "one %d\ntwo";
    run({std::string(m.key) + "x y", "%s=100%"}, {.answer = std::string("one %d\ntwo\0hidden", 17), .count = 7}, shown,
        m.result == records ? 7 : 0);
    // A length of 0 means no answer only to those that look at it; the others print what lies in the segment.
    run({"a=1", "b=2"}, {.answer = "left", .length = 0}, m.show == text ? "left" : "", 0);
    run({"a=1", "b=2"}, {.answer = "not shown", .count = 3, .error = 8, .error_text = "REFUSED %s"}, "REFUSED %s\n",
        m.code == 282 ? 0 : 255);
    if (m.usage == nullptr)
        return run({}, {}, "", 0);
    std::string line = module + " " + verb;
    for (int i = 1; i < m.least; i++)
        line += " a=1";
    run_case(command(line, m.daemon, {}, m.usage, 255));
}

TEST(Forward, EveryRow)
{
    for (const Member& m : rows)
        for (const std::string& verb : words_of(m.verbs))
            for (const std::string& module : words_of(m.modules))
                run_member(m, module, verb);
}

// clang-format off
TEST(Forward, Oddities)
{
    const std::string full(65536, 'z');
    Case nameless = command("", A, {{{.code = 2050, .data = trailing(""), .segment_size = 16384}, {.answer = "text"}}}, "text");
    nameless.arguments = {"", "stat"};
    const Case cases[] = {
        nameless,
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

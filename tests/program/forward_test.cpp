// Every forwarding verb, one row a line: what it sends, how it prints the answer, what it returns.
#include "tests/support/listing.h"

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
};
// clang-format on

// One for each module and verb.
std::vector<Member> all_members()
{
    std::vector<Member> members;
    for (Member member : rows)
        for (const std::string& verb : words_of(member.verbs))
            for (const std::string& module : words_of(member.modules)) {
                members.push_back(member);
                members.back().modules = module;
                members.back().verbs = verb;
            }
    return members;
}
const std::vector<Member> members = all_members();

Data sent_text(const Member& m, const std::vector<std::string>& arguments)
{
    std::string text;
    for (const std::string& argument : arguments)
        text += m.style == leading_uncounted ? " " + argument : argument + " ";
    return m.style == none ? Data{} : m.style == trailing_counted ? counted(text) : uncounted(text);
}

Case run_of(const Member& m, const char* what, const std::vector<std::string>& arguments, const Reply& reply)
{
    std::vector<std::string> words{m.modules, m.verbs};
    words.insert(words.end(), arguments.begin(), arguments.end());
    Request request{.code = code_of(m.verbs),
                    .module = m.sent != nullptr ? m.sent : m.modules,
                    .data = sent_text(m, arguments),
                    .segment_size = m.segment_kib * 1024};
    return {.name = m.modules + " " + m.verbs + ": " + what, .arguments = words, .daemon = m.daemon, .exchanges = {{request, reply}}};
}

TEST(Forward, SendsItsArgumentsAndPrintsTheAnswer)
{
    for (const Member& m : members) {
        Case one =
            run_of(m, "answer", {std::string(m.key) + "x y", "%s=100%"}, {.answer = std::string("one %d\ntwo\0hidden", 17), .count = 7});
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
        Case one = run_of(m, "refusal", {"a=1", "b=2"}, {.answer = "not shown", .count = 3, .error = 8, .error_text = "REFUSED %s"});
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

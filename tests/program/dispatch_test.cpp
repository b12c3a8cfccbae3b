// From the command line to the daemon: listing forms, tables, sizes, fallback verbs, unknown words.
#include "tests/support/program.h"

#include <ctime>
#include <gtest/gtest.h>

namespace {

constexpr Daemon A = Daemon::analysis, M = Daemon::management;

// clang-format off
TEST(Dispatch, ListsAndRefuses)
{
    constexpr Daemon none = Daemon::none;
    const std::string listed =
        "module list\nmodule stat\nobslog stat\nobslog get\nobsquery stat\nworker stat\nworker list\nworker add\ndisk stat\n"
        "assetsgroup2 add\nassetsgroup2 list\nassetsgroup2 set\nassetsgroup2 stat\nassetsgroup2 remove\n"
        "assetsobj2 add\nassetsobj2 set\nassetsobj2 stat\nassetsobj2 remove\n"
        "table get\ntable addip\ntable rmvip\ntable clear\ntable getcmp\ntable loadfile\nobssegdelay stat\nobssegdelay set\n"
        "tundata list\ncertdata list\ncondtunnel list\ncondtunnel stat\napplevel list\ntunwltable list\ntunwltable remove\n";
    Case every_module = command("", none, {}, listed, 255), empty_words = command("", A, {}, "invalid commands:  \n", 1);
    every_module.arguments = {""}, empty_words.arguments = {"", ""};
    const Case cases[] = {
        command("", none, {}, "module\nobslog\nobsquery\nworker\ndisk\nassetsgroup2\nassetsobj2\ntable\nobssegdelay\ntundata\n"
                              "certdata\ncondtunnel\napplevel\ntunwltable\n", 255),
        command("obs", none, {}, "obslog stat\nobslog get\nobsquery stat\nobssegdelay stat\nobssegdelay set\n", 255),
        command("table", none, {}, "table get\ntable addip\ntable rmvip\ntable clear\ntable getcmp\ntable loadfile\n"
                                   "tunwltable list\ntunwltable remove\n", 255), // the word anywhere in the name
        every_module,
        command("mempcap", none, {}, "", 255), // modules of the other tables are not shown
        command("chart", none, {}, "", 255),
        command("sysboots", none, {}, "", 255),
        command("gadget frob x", A, {}, "invalid commands: gadget frob\n", 1),
        command("gadget stats", A, {}, "invalid commands: gadget stats\n", 1),
        command("gadget disable", A, {}, "invalid commands: gadget disable\n", 1), // no verb of the fallback
        command("chart stat", Daemon::chart, {}, "invalid commands: chart stat\n", 1),
        command("keytbl stat", A, {}, "invalid commands: keytbl stat\n", 1),
        empty_words,
    };
    run_cases(cases);
}
// clang-format on

TEST(Dispatch, BootTime)
{
    auto sysboot = [](const std::string& output, const std::string& fault, const std::string& uptime = "") {
        Case one = command("sysboot", Daemon::none, {}, output);
        one.fault = fault;
        one.files = {{"/uptime", uptime}};
        return one;
    };
    const std::string moved = "fopen /proc/uptime {root}/uptime", failed = "fail to get bootup time\n";
    Case up = sysboot("", moved, "100.99 5.0\n");
    up.check = [](const RunResult& run) {
        long seconds = atol(run.output.c_str());
        EXPECT_EQ(std::to_string(seconds) + "_0\n", run.output);
        EXPECT_NEAR(static_cast<double>(time(nullptr) - 100), static_cast<double>(seconds), 60);
    };
    const Case cases[] = {
        up,
        sysboot("fail to open /proc/uptime\n" + failed, "fopen /proc/uptime"),
        sysboot(failed, moved),
        sysboot(failed, moved, "100\n"),
    };
    run_cases(cases);
}

// Rows without a handler: the daemon gets the row's code, generic ones with the row's module name.
struct Plain {
    const char* module;
    const char* verb;
    uint32_t code;
    Daemon daemon;
    uint32_t segment_kib;
    bool named = true;
};

// clang-format off
const Plain plain_rows[] = {
    {"module",       "list",     387,  A,   64, false},
    {"module",       "stat",     388,  A,   64, false},
    {"table",        "loadfile", 249,  A,   64, false},
    {"assetsgroup2", "add",      2051, A,   64},
    {"assetsgroup2", "list",     2055, A, 2048},
    {"assetsgroup2", "set",      2053, A,   64},
    {"assetsgroup2", "stat",     2050, A,   64},
    {"assetsgroup2", "remove",   2052, A,  256},
    {"assetsobj2",   "add",      2051, A,   64},
    {"assetsobj2",   "set",      2053, A,   64},
    {"assetsobj2",   "stat",     2050, A,   64},
    {"assetsobj2",   "remove",   2052, A,  256},
    {"obssegdelay",  "set",      2053, A, 1024},
    {"obsreasslog",  "stat",     2050, M,   64},
    {"obsreasspkt",  "stat",     2050, M,   64},
    {"assetsgroup",  "add",      2051, M,   64},
    {"assetsgroup",  "list",     2055, M, 2048},
    {"assetsgroup",  "set",      2053, M,   64},
    {"assetsgroup",  "stat",     2050, M,   64},
    {"assetsgroup",  "remove",   2052, M,  256},
    {"assetsobj",    "add",      2051, M,   64},
    {"assetsobj",    "set",      2053, M,   64},
    {"assetsobj",    "get",      2054, M,   64},
    {"assetsobj",    "stat",     2050, M,   64},
    {"assetsobj",    "remove",   2052, M,  256},
    {"assetsobj",    "load",     2056, M, 2048},
    {"obsiptable",   "loadfile", 2056, M,   64},
    {"obstable",     "add",      2051, M,   64},
    {"obstable",     "list",     2055, M, 2048},
    {"obstable",     "set",      2053, M,   64},
    {"obstable",     "stat",     2050, M,   64},
    {"obstable",     "remove",   2052, M,  256},
    {"obstable",     "get",      2054, M, 2048},
    {"obsdnsgrp",    "add",      2051, M,   64},
    {"obsdnsgrp",    "list",     2055, M, 2048},
    {"obsdnsgrp",    "set",      2053, M,   64},
    {"obsdnsgrp",    "stat",     2050, M,   64},
    {"obsdnsgrp",    "remove",   2052, M,  256},
    {"obsdnsgrp",    "get",      2054, M, 2048},
    {"obsdnsgrp",    "loadfile", 2056, M, 2048},
    {"obsdnsgrp",    "load",     2056, M, 2048},
    {"mysqlrd",      "config",   2057, M,   64},
    // The fallback: any module, the analysis daemon, sizes of its own.
    {"gadget",       "stat",     2050, A,   16},
    {"gadget",       "config",   2057, A,   16},
    {"gadget",       "list",     2055, A, 2048},
    {"gadget",       "get",      2054, A,   64},
    {"gadget",       "add",      2051, A,   16},
    {"gadget",       "set",      2053, A,   16},
    {"gadget",       "remove",   2052, A,   16},
    {"gadget",       "load",     2056, A,   16},
    {"gadget",       "debug",    2064, A,  128},
    // also where a table holds the module without the verb
    {"ipobj",        "stat",     2050, A,   16},
    {"obslog",       "config",   2057, A,   16},
    {"worker",       "debug",    2064, A,  128},
    {"",             "stat",     2050, A,   16},
    {"sysboot",      "list",     2055, A, 2048},
    {"keytbl",       "list",     282,  A,    4, false},
};
// clang-format on

TEST(Dispatch, SendsThePlainRows)
{
    for (const Plain& row : plain_rows) {
        Request request{.code = row.code,
                        .module = row.named ? row.module : "",
                        .data = trailing("a=1 b=2 "),
                        .segment_size = row.segment_kib * 1024};
        Request bare = request;
        bare.data = {"", 1}; // a lone NUL
        std::string name = std::string(row.module) + " " + row.verb;
        bool always_succeeds = row.code == 282; // keytbl list
        run_case({.name = name,
                  .arguments = {row.module, row.verb, "a=1", "b=2"},
                  .daemon = row.daemon,
                  .exchanges = {{request, {.answer = "%s\nanswer"}}},
                  .output = "%s\nanswer"});
        run_case({.name = name + ": nothing typed, nothing answered",
                  .arguments = {row.module, row.verb},
                  .daemon = row.daemon,
                  .exchanges = {{bare, {.answer = "not shown", .length = 0}}}});
        run_case({.name = name + ": refused",
                  .arguments = {row.module, row.verb, "a=1", "b=2"},
                  .daemon = row.daemon,
                  .exchanges = {{request, {.error = -7, .error_text = "NO %d"}}},
                  .output = "NO %d\n",
                  .status = always_succeeds ? 0 : 255});
    }
}

// clang-format off
// Reports whose records nobody has described send nothing. Only these rows may.
TEST(Dispatch, SaysWhatIsNotSupported)
{
    for (const char* row : {"tundata list", "certdata list", "condtunnel list"})
        run_case(command(row, A, {}, "NOT_SUPPORTED\n", 255));
    for (const char* row :
         {"obsreasslog list", "obsreasspkt list", "obslog tcpstat", "obslog appstat", "obslog dnsstat", "obslog httpstat",
          "obslog httpsstat", "obslog dummydns", "obslog dummyhttp", "obslog list", "assetsobj showgroup", "assetsobj ipsort",
          "assetsobj listflow", "assetsflow get", "emaillog list", "ftplog list", "telnetlog list", "dnstuncheck list",
          "dnstuncheck iplist", "mysqlrd listflow", "netev_session list"})
        run_case(command(row, M, {}, "NOT_SUPPORTED\n", 255));
}

TEST(Dispatch, SaysWhichDaemonIsNotThere)
{
    const std::string analysis = "can't connect to {root}/var/tmp/obslog.d",
                      management = "can't connect to {root}/usr/ramdisk/var/mgmt.d";
    const Case cases[] = {
        command("worker stat", M, {}, analysis, 255),
        command("obslog list", A, {}, management, 255), // a module that both tables hold
        command("chart dump hours=1", A, {}, "can't connect to {root}/usr/ramdisk/var/obschartd.d", 255),
        command("gadget stat", M, {}, analysis, 255),
        command("keytbl list", M, {}, analysis, 255), // fails only when there is no session
        command("idssum remove", A, {}, management, 255), // missing arguments are found out in a session
    };
    run_cases(cases);
}
// clang-format on

} // namespace

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
        command("--version", none, {}, "", 255), // a word like any other; vigil-json tells
        command("gadget frob x", A, {}, "invalid commands: gadget frob\n", 1),
        command("gadget stats", A, {}, "invalid commands: gadget stats\n", 1),
        command("gadget disable", A, {}, "invalid commands: gadget disable\n", 1), // no verb of the fallback
        command("chart stat", Daemon::chart, {}, "invalid commands: chart stat\n", 1),
        command("keytbl stat", A, {}, "invalid commands: keytbl stat\n", 1),
        empty_words,
        // reports whose records nobody has described send nothing
        command("tundata list", A, {}, "NOT_SUPPORTED\n", 255),
        command("obslog list", M, {}, "NOT_SUPPORTED\n", 255),
    };
    run_cases(cases);
}
// clang-format on

TEST(Dispatch, BootTime)
{
    auto sysboot = [](const std::string& output, const std::string& fault, const std::string& uptime = "", const char* line = "sysboot") {
        Case one = command(line, Daemon::none, {}, output);
        one.fault = fault;
        one.files = {{"/uptime", uptime}};
        return one;
    };
    const std::string moved = "open /proc/uptime {root}/uptime", failed = "fail to get bootup time\n";
    Case up = sysboot("", moved, "100.99 5.0\n");
    up.check = [](const RunResult& run) {
        long seconds = atol(run.output.c_str());
        EXPECT_EQ(std::to_string(seconds) + "_0\n", run.output);
        EXPECT_NEAR(static_cast<double>(time(nullptr) - 100), static_cast<double>(seconds), 60);
    };
    const Case cases[] = {
        up,
        sysboot("fail to open /proc/uptime\n" + failed, "open /proc/uptime"),
        sysboot(failed, moved),
        sysboot(failed, moved, "100\n"),
        sysboot(R"({"notes":["fail to open /proc/uptime"],"error":{"text":"fail to get bootup time","status":0}})"
                "\n",
                "open /proc/uptime", "", "@json sysboot"),
    };
    run_cases(cases);
}

// clang-format off
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

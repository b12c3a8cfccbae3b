// chart rowlist, dump, timesum.
#include "tests/support/program.h"

#include <gtest/gtest.h>

// clang-format off
namespace {

constexpr Daemon C = Daemon::chart;
const std::string tag(32, 't'), label(48, 'l'), name(115, 'r');

// Three points, two series; the second series fills its texts.
const std::string two = Bytes(7920 + 48)
    .u32(4, 100).u32(20, 160).u32(36, 4294967295).u32(4608, 3).text(4616, "in", 32).text(4648, "eth0 in", 48)
    .text(4696, tag, 32).text(4728, label, 48).u32(7816, 2)
    .u64(7920, 0).u64(7928, 5).u64(7936, 7).u64(7944, 9).u64(7952, 0).u64(7960, ~0ULL);

// A dump is one exchange: that no last batch is announced does not matter.
Exchange dump(const std::string& data, const std::string& answer)
{
    return {{.code = 1, .data = counted(data), .segment_size = 1048576}, {.answer = answer, .last = false}};
}

TEST(Charts, Chart)
{
    const Reply refusal{.error = 7, .error_text = "NO_ROW"};
    std::string points = "TAG  \n", series;
    for (int i = 0; i < 288; i++)
        points += "DATA 0 0\n";
    for (int i = 0; i < 40; i++)
        series += "TAG  \n";
    const Case cases[] = {
        command("chart dump end=5 endtm=100 time=7 hours=3 tag=x json=0", C, {dump("tmend=5 tmend=m=100 tmend=7 hours=3 tag=x json=0 ", two)},
                "TAG in eth0 in\nDATA 100 5\nDATA 160 5\nDATA 4294967295 7\n"
                "TAG " + tag + " " + label + "\nDATA 100 9\nDATA 160 0\nDATA 4294967295 18446744073709551615\n"),
        command("chart dump json=1 hour=24", C, {dump("hours=24 ", two)},
                R"([{"name":"in","data":[{"x":100000,"y":5},{"x":160000,"y":5},{"x":4294967295000,"y":7}]},)"
                R"({"name":")" + tag + R"(","data":[{"x":100000,"y":9},{"x":160000,"y":0},{"x":4294967295000,"y":18446744073709551615}]}])"),
        // a single point keeps its 0
        command("chart dump a", C, {dump("a ", Bytes(7936).u32(4, 1).u32(4608, 1).u32(7816, 1).u64(7928, 3))}, "TAG  \nDATA 1 0\n"),
        command("chart dump a", C, {dump("a ", "")}, ""),
        command("chart dump json=1", C, {dump("", "")}, "[]"),
        command("chart dump a", C, {dump("a ", Bytes(7920).u32(4608, 288).u32(7816, 1))}, points), // as many as there can be
        command("chart dump a", C, {dump("a ", Bytes(7920).u32(7816, 40))}, series),
        command("chart dump json=1", C, {dump("", Bytes(7920).u32(4608, 289))}, "INV_REPLY\n", 255),
        command("chart dump a", C, {dump("a ", Bytes(7920).u32(7816, 41))}, "INV_REPLY\n", 255),
        command("chart dump", C, {}, "[bridge=n] [hours=nnn] [tmend=nnnnn] [tag=tag1] [tag=tag2] ...\n", 255),
        command("chart dump a", C, {{{.code = 1, .data = counted("a ")}, refusal}}, "NO_ROW\n", 255),
        command("chart rowlist " + name + " ignored", C, {{{.code = 2, .module = name, .segment_size = 262144}, {.answer = "r1\nr2\n"}}}, "r1\nr2\n"),
        command("chart rowlist", C, {{{.code = 2}, {.answer = "text", .length = 0}}}, ""),
        command("chart rowlist " + name + "r", C, {}, "ARG_TOO_LONG\n", 255),
        command("chart rowlist", C, {{{.code = 2}, refusal}}, "NO_ROW\n", 7), // the code is the status
        command("chart timesum a=1 b", C, {{{.code = 4, .data = trailing("a=1 b "), .segment_size = 131072}, {.answer = "12 13"}}}, "12 13"),
        command("chart timesum", C, {{{.code = 4, .data = trailing("")}, refusal}}, "NO_ROW\n", 7),
    };
    run_cases(cases);
}

} // namespace

// What a run says, and how it ends, when one kind of allocation fails.
#include "tests/support/listing.h"
#include "tests/support/vendors.h"

#include <gtest/gtest.h>

// clang-format off
namespace {

constexpr Daemon A = Daemon::analysis, M = Daemon::management, none = Daemon::none;

// A run in which every allocation of just so many bytes fails.
Case without(size_t bytes, Case one)
{
    one.files = {{"/conf/obscfg.conf", "applevel id=1\n"}, {"/conf/kestrel.conf", "mac ip=10.0.0.1 d=one\n"},
                 {"/usr/ramdisk/etc/oui.dat", enciphered("KESTREL!________")}};
    return failing("alloc " + std::to_string(bytes), one);
}

// A listing that gets one answer of `count` zero records of `size` bytes.
Case zeros(const std::string& line, Request request, size_t size, int32_t count, const std::string& output, int status)
{
    request.code = request.code == 0 ? 2055 : request.code;
    return listing(line, request, {{.answer = std::string(size * static_cast<size_t>(count), '\0'), .count = count}}, output, status);
}

TEST(Memory, Configuration)
{
    const std::string colours = "fail to alloc applevel buffer (57344 bytes)\n";
    const Request stat{.code = 2050, .module = "gadget", .data = trailing("")};
    Case chart = command("chart timesum", Daemon::chart, {{{.code = 4, .data = trailing("")}, {.answer = "12"}}}, "12");
    auto flows = [](const std::string& said) {
        return command("outconnect listflow", M, {{{.code = 2055, .module = "flow2", .data = trailing("")}, {}}}, said + R"({"data":[], "total":0})");
    };
    const Case cases[] = {
        without(57344, command("gadget stat", A, {{stat, {.answer = "text"}}}, colours + "text")), // read by every word but
        without(57344, command("gadget frob", A, {}, colours + "invalid commands: gadget frob\n", 1)),
        without(57344, chart),
        without(57344, command("chart frob", none, {}, "invalid commands: chart frob\n", 1)),
        without(57344, command("obslog", none, {}, "obslog stat\nobslog get\n", 255)),
        without(262144, flows("fail to init ipmacdesc pool\n")),
        without(2176, flows("itlgc_pool alloc fail\n")),
        without(917504, flows("NO_MEM\n")),
        without(807936, flows("assetsdesc_init: fail to alloc 807936 bytes\n")),
    };
    run_cases(cases);
}

TEST(Memory, Listings)
{
    const Request hosts{.module = "obshost"}, events{.module = "nevt_log", .data = leading("")}, alerts{.module = "kesidslog", .data = leading("")};
    const Request syslog{.module = "obssyslog", .data = leading("")}, groups{.module = "obstopogrp", .data = leading("")};
    const Request sessions{.module = "obsbussflow", .data = trailing(""), .wants_dictionary = true}, flows{.module = "flow", .data = trailing(""), .wants_dictionary = true};
    const std::string logged = R"({"data":[{"req_time":"1970-01-01/08:00:00","time":0,"src_ip":"0.0.0.0","dst_ip":"0.0.0.0","src_port":0,)"
                               R"("dst_port":0,"proto":"UDP","mac":"","username":"","syslog":""}], "total":1})";
    const Reply many = more(std::string(16384 * 120, '\0'), 16384);
    auto dictionary = [](Case one) {
        one.dictionary = "full";
        return one;
    };
    const Case cases[] = {
        without(524288, command("hostinfo list", M, {}, "fail to alloc buffer for cmp(32768)\n", 1)),
        without(122880, zeros("hostinfo list", hosts, 120, 2, "fail to alloc hostinfo buffer(2)\n", 255)),
        without(720896, listing("hostinfo list", {.code = 2055, .module = "obshost"}, {many, many, {.answer = std::string(120, '\0'), .count = 1}}, "realloc fail with 720896\n", 255)),
        without(16384, zeros("nevtlog list", events, 304, 1, "fal alloc _ptrs object\n", 255)),
        without(311296, zeros("nevtlog list json=1", events, 304, 1, "{\"data\":[fail alloc nevt_data_t object\n", 255)),
        without(6144, command("nevtlog list showsum=1", M, {}, "fail to malloc evtype_pool(7168) bytes\n", 255)),
        without(960, command("nevtlog list showsum=1", M, {}, "fail to alloc if pool(960) bytes\n", 255)),
        without(16384, zeros("kesidslog list", alerts, 3844, 1, "fail to realloc _ptrs\n", 255)),
        without(3936256, zeros("kesidslog list", alerts, 3844, 1, "fail to alloc dataobj\n", 255)),
        without(24576, zeros("idssum list", {.module = "idssum"}, 24, 1, "", 255)),
        without(364544, zeros("obssyslog list", syslog, 356, 1, "", 255)),
        without(3276800, zeros("obssyslog list", syslog, 356, 1, "fail to alloc oui buffer (3276800)\n" + logged, 0)),
        without(1040, zeros("obssyslog list", syslog, 356, 1, "fail to alloc 16 bytes\n" + logged, 0)),
        without(868352, zeros("assetsobj list", {.module = "assetsobj", .data = trailing("")}, 848, 1, "{\"list\":[", 255)),
        without(49152, zeros("obstopogrp list", groups, 48, 1, "fail to alloc (cli_obstopogrp_list)\n", 255)),
        without(16384, zeros("obstopogrp list", groups, 48, 1, "", 255)), // the index says nothing
        without(94208, zeros("whiteip get", {.code = 2054, .module = "whiteip", .data = trailing("")}, 92, 1, "", 255)),
        // what was collected is listed, what was folded is counted
        without(233472, dictionary(zeros("ipobj listbussflow sort=app", sessions, 228, 1, "total 0\n", 0))),
        without(262144, dictionary(zeros("ipobj listflow portsum=1 json=1", flows, 228, 1, R"({"total":0, "data":[]})", 0))),
        without(1048576, command("outconnect caluflow appsum=1", M, {}, "fail to alloc app pool 1048576 bytes\n", 255)),
    };
    run_cases(cases);
}

TEST(Memory, MaliciousSummaries)
{
    auto malclog = [](size_t bytes, const std::string& typed, int32_t count, const std::string& output, int status = 0) {
        const std::string record = Bytes(208).u8(0, 1).u8(17, 1).text(26, "name").text(86, "type").text(160, "area");
        std::string answer;
        for (int32_t i = 0; i < count; i++)
            answer += record;
        const std::string text = typed.empty() ? " log=1" : " " + typed + " log=1";
        return without(bytes, listing("malclog list " + typed, {.code = 2054, .module = "malc", .data = leading(text)}, {{.answer = answer, .count = count}}, output, status));
    };
    const std::string nobody = R"({"total":0, "data":[]})";
    const Case cases[] = {
        malclog(1536, "show_malc=1", 2, "fail to alloc malc pool 1536 bytes\n[]"), // said once, and the run goes on
        malclog(131072, "show_srcip=1", 2, "fail to alloc 131072 bytes for ippool\n" + nobody),
        malclog(327680, "show_dns=1", 2, "fail to alloc 327680 bytes for dnspool\n" + nobody),
        malclog(49152, "show_area=1", 2, "fail to alloc 49152 bytes for areapool\n" + nobody),
        malclog(16000, "", 1000, "NO_MEM\n", 255),
    };
    run_cases(cases);
}

// What the JSON form can neither keep nor put together is an error.
TEST(Memory, JsonForm)
{
    Case note = failing("alloc 27", command("@json ipobj listbussflow src=nowhere", M,
        {{{.code = 2055, .module = "obsbussflow", .data = trailing(""), .wants_dictionary = true}, {}}}, "{\"lines\":[\"total 0\"],\"error\":{\"text\":\"NO_MEM\",\"status\":255}}\n", 255));
    note.dictionary = "full";
    const Case cases[] = {
        note,
        failing("alloc-from 2", command("@json obslog", none, {}, "{\"verbs\":[\"obslog stat\"],\"error\":{\"text\":\"NO_MEM\",\"status\":255}}\n", 255)),
        failing("alloc 45", command("@json gadget frob", none, {}, "{\"error\":{\"text\":\"\",\"status\":1}}\n", 1)), // the refusal itself
    };
    run_cases(cases);
}

} // namespace

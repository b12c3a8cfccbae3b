// assetsobj list and obstopogrp list.
#include "tests/support/program.h"

#include <algorithm>
#include <gtest/gtest.h>

// clang-format off
namespace {

constexpr Daemon M = Daemon::management;

Exchange assets(const std::string& data, const Reply& reply, int32_t cursor = 0)
{
    return {{.code = 2055, .module = "assetsobj", .data = trailing(data), .cursor = cursor, .segment_size = 2097152}, reply};
}

const std::string web = Bytes(848)
    .u16(2, 3).u32(4, 7).u32(8, 9).u32(12, 12).u64(16, 1000).u64(24, 2000).u32(32, 3000000000).u32(36, 3000000000)
    .u64(40, 5 | 100ULL << 24).u16(46, 443).u32(68, 10).u32(72, 4000000000).u32(76, 500000000)
    .u64(80, 12000000000500).u32(88, 2500).u32(96, 4000000000).u32(132, 4000000000).u32(168, 1000).text(720, "web", 64).ip(784, 10, 1, 2, 3);
const std::string six = Bytes(848)
    .u16(0, 2).u32(4, 4294967295).u32(36, 4294967295).u32(168, 5).fill(720, 'n', 64).be32(784, 0x20010db8).u8(799, 1);
const std::string text = Bytes(848).u16(0, 1).u32(12, 40).u32(32, 1).fill(784, 'v', 64);

const std::string web_json =
    R"({"pid":3,"id":7,"logicid":9,"name":"web","port":443,"value":"10.1.2.3","isipv6":1,"flowcnt":12,"pps":10,)"
    R"("bpsout":4000000000,"bpsin":500000000,"bpstotal":205032704,"bytesout":1000,"bytesin":2000,"bytestotal":3000,)"
    R"("avgdelay":"1.50","maxus":2.50,"failrate":50,"threats":5,"threat_last":"1970-01-01/08:01:40"})";
const std::string six_json =
    R"({"pid":0,"id":-1,"logicid":0,"name":")" + std::string(64, 'n') + R"(","port":0,"value":"2001:db8::1","isipv6":2,)"
    R"("flowcnt":0,"pps":0,"bpsout":0,"bpsin":0,"bpstotal":0,"bytesout":0,"bytesin":0,"bytestotal":0,)"
    R"("avgdelay":"0.00","maxus":0.01,"failrate":100,"threats":0,"threat_last":"1970-01-01/08:00:00"})";
const std::string text_json =
    R"({"pid":0,"id":0,"logicid":0,"name":"","port":0,"value":")" + std::string(64, 'v') + R"(",)"
    R"("flowcnt":40,"pps":0,"bpsout":0,"bpsin":0,"bpstotal":0,"bytesout":0,"bytesin":0,"bytestotal":0,)"
    R"("avgdelay":"0.00","maxus":0.00,"failrate":0,"threats":0,"threat_last":"1970-01-01/08:00:00"})";

TEST(Assets, List)
{
    const Reply three{.answer = web + six + text, .count = 3};
    const std::string none = R"({"list":[], "total":3})", largest = "page=2147483647 limit=2147483647";
    const Case cases[] = {
        command("assetsobj list gid=1", M, {assets("gid=1 ", {.answer = web, .count = 1, .last = false, .cursor = 4}),
                                            assets("gid=1 ", {.answer = six + text, .count = 2}, 4)},
                R"({"list":[)" + text_json + "," + web_json + "," + six_json + R"(], "total":3})"),
        command("assetsobj list page=2 limit=2", M, {assets("page=2 limit=2 ", three)}, R"({"list":[)" + six_json + R"(], "total":3})"),
        command("assetsobj list " + largest, M, {assets(largest + " ", three)}, none),
        command("assetsobj list page=-1 limit=-1", M, {assets("page=-1 limit=-1 ", three)}, none),
        command("assetsobj list page=0", M, {}, "INV_PAGE_LIMIT\n", 255),
        command("assetsobj list limit=x", M, {}, "INV_PAGE_LIMIT\n", 255),
        command("assetsobj list", M, {assets("", {.error = 2, .error_text = "BUSY"})}, "{\"list\":[BUSY\n", 255),
        command("assetsobj list", M, {assets("", {.answer = web, .count = 2474})}, "{\"list\":[INV_REPLY\n", 255), // 2473 fit
    };
    run_cases(cases);
}

// For each measure an asset that is the largest in it, and the one behind it. An unknown word leaves the choice before it.
TEST(Assets, EverySortWordHasItsMeasure)
{
    auto asset = [](uint32_t id) { return Bytes(848).u32(4, id).u16(0, 1); };
    const std::string answer =
        asset(1).u32(12, 9).str() + asset(2).u32(68, 9).str() + asset(3).u32(72, 9).str() + asset(4).u32(76, 9).str() +
        asset(5).u64(16, 9).str() + asset(6).u64(24, 9).str() + asset(7).u64(80, 90).u32(96, 10).str() +
        asset(8).u64(80, 80).u32(132, 8).str() + asset(9).u32(88, 9).str() + asset(10).u32(168, 10).str() +
        asset(11).u32(32, 1).u32(36, 1).str() + asset(12).u32(36, 4000000000).str();
    const struct { const char* word; int first, second; } orders[] = {
        {"flowcnt", 1, 2}, {"pps", 2, 1}, {"bpsin", 3, 1}, {"bpsout", 4, 1}, {"bytesin", 5, 1}, {"bytesout", 6, 1},
        {"avgdelay", 8, 7}, {"id", 1, 2}, {"maxus", 10, 9}, {"failrate", 12, 11}, {"nothing", 2, 1},
    };
    for (const auto& order : orders) {
        std::string typed = std::string("sort=pps sort=") + order.word + " limit=2";
        Case one = command("assetsobj list " + typed, M, {assets(typed + " ", {.answer = answer, .count = 12})}, "");
        one.check = [&](const RunResult& run) {
            size_t first = run.output.find(R"("id":)" + std::to_string(order.first) + ",");
            size_t second = run.output.find(R"("id":)" + std::to_string(order.second) + ",");
            EXPECT_LT(first, second) << run.output;
            EXPECT_NE(second, std::string::npos) << run.output;
        };
        run_case(one);
    }
}

std::string group(uint8_t id, uint8_t parent, const std::string& title)
{
    return Bytes(48).u8(0, id).u8(1, parent).text(2, title, 46);
}

Exchange groups(const std::string& answer)
{
    return {{.code = 2055, .module = "obstopogrp"}, {.answer = answer, .count = static_cast<int32_t>(answer.size() / 48)}};
}

TEST(Assets, TopologyTree)
{
    const std::string wide(46, 'w');
    auto node = [](const std::string& title, int id, const std::string& children = "") {
        return R"({"title":")" + title + R"(", "id":)" + std::to_string(id) + R"(, "spread":true, "children":[)" + children + "]}";
    };
    Request typed{.code = 2055, .module = "obstopogrp", .data = leading(" a=1 b=2")}, again = typed;
    again.cursor = 1;
    const Case cases[] = {
        command("obstopogrp list", M, {groups("")}, "[]"),
        // two batches; children as they arrived; a group without a parent is left out
        command("obstopogrp list a=1 b=2", M,
                {{typed, {.answer = group(2, 1, "b") + group(9, 8, "-") + group(3, 0, wide), .count = 3, .last = false, .cursor = 1}},
                 {again, {.answer = group(1, 0, "a") + group(255, 1, "c"), .count = 2}}},
                "[" + node(wide, 3) + "," + node("a", 1, node("b", 2) + "," + node("c", 255)) + "]"),
        // a cycle ends where it would begin again; repeated ids stay
        command("obstopogrp list", M, {groups(group(1, 0, "a") + group(1, 0, "a2") + group(2, 1, "b") + group(1, 2, "back"))},
                "[" + node("a", 1, node("b", 2)) + "," + node("a2", 1, node("b", 2)) + "]"),
        // a group 0 stands below the root and holds the others
        command("obstopogrp list", M, {groups(group(0, 0, "z") + group(1, 0, "a"))}, "[" + node("z", 0, node("a", 1)) + "," + node("a", 1) + "]"),
        command("obstopogrp list", M, {{{.code = 2055, .module = "obstopogrp"}, {.error = 1, .error_text = "NO"}}}, "NO\n", 255),
    };
    run_cases(cases);

    auto times = [](size_t count, const std::string& record) {
        std::string records;
        while (count-- > 0)
            records += record;
        return records;
    };
    auto in_batches = [](const std::string& records) {
        const size_t most = 170 * 48; // what the segment holds
        std::vector<Exchange> batches;
        for (size_t at = 0; at < records.size(); at += most) {
            batches.push_back(groups(records.substr(at, most)));
            batches.back().reply.last = at + most >= records.size();
        }
        return batches;
    };
    const std::string million = times(1000, group(1, 0, "")) + times(999, group(2, 1, "")); // 1000 * (1 + 999) nodes
    Case most = command("obstopogrp list", M, in_batches(million), "");
    most.check = [](const RunResult& run) {
        EXPECT_EQ(1'000'000, std::count(run.output.begin(), run.output.end(), '{'));
        EXPECT_TRUE(run.output.ends_with("]}]}]"));
    };
    run_case(most);
    run_case(command("obstopogrp list", M, in_batches(million + group(3, 0, "")), "INV_REPLY\n", 255));
    // 16000 nodes, each above 16000 records of itself
    run_case(command("obstopogrp list", M, in_batches(times(16000, group(1, 0, "")) + times(16000, group(1, 1, ""))), "INV_REPLY\n", 255));
}

} // namespace

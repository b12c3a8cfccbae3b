// The malicious-activity log and its summaries.
#include "tests/support/listing.h"

#include <ctime>
#include <gtest/gtest.h>

namespace {

struct Malicious {
    uint32_t time, level; // the level is the last part of the destination, too
    bool by_address;      // 10.9.8.7
    uint32_t port;
    std::string name, type, area;
};

Case malclog(const std::string& arguments, const std::vector<Malicious>& events, const std::string& output)
{
    std::string answer, command = "malclog list " + arguments;
    for (const Malicious& e : events) {
        Bytes record(208);
        record.u32(0, e.time).ip(4, 10, 0, 0, 1).ip(8, 192, 168, 0, static_cast<int>(e.level)).be16(12, 1234);
        record.be16(14, 80).u8(17, e.level).be32(20, e.by_address ? 0x0a090807 : 0).be16(24, e.port);
        answer += record.text(26, e.name).text(86, e.type).text(160, e.area).str();
    }
    return listing(command,
                   {.code = 2054, .module = "malc", .data = leading(leading_of(command).text + " log=1"), .segment_size = 2048 * 1024},
                   {more(answer, static_cast<int32_t>(events.size()))},
                   output); // asked once, whatever follows
}

TEST(MaliciousLog, PageAndSummaries)
{
    const std::string a31(31, 'a'), a48(48, 'a'), n47(47, 'n'), n60(60, 'n'), t31(31, 't'), t74(74, 't'), china = "\xD6\xD0\xB9\xFA";
    constexpr uint32_t may = 1715000000; // 2024-05-06/20:53:20 in the zone of the tests
    const std::vector<Malicious> events = {{may, 1, true, 8080, "unused", "scan", "Beijing|CMCC"},
                                           {may + 2, 5, true, 0, "", t74, a48},
                                           {0, 1, false, 0, "never", "never", "never"},
                                           {may + 2, 2, false, 0, n60, t31 + "other", a31 + "b"},
                                           {may + 1, 4, false, 99, "", "scan", china}};
    auto row = [](const char* second, const char* level, const std::string& risc, const std::string& locisp, const std::string& ioc,
                  const std::string& type) {
        return std::string(R"({"time":"2024-05-06/20:53:)") + second +
               R"(","src":"10.0.0.1", "sport":1234,)"
               R"("dst":"192.168.0.)" +
               level + R"(", "dport":80,"risc":")" + risc + R"(","locisp":")" + locisp + R"(","ioc":")" + ioc + R"(","type":")" + type +
               "\"}";
    };
    const std::string row5 = row("22", "5", "\xCE\xB4\xD6\xAA", a48, "10.9.8.7", t74),
                      row2 = row("22", "2", "\xB8\xDF", a31 + "b", n60, t31 + "other"),
                      row4 = row("21", "4", "\xB5\xCD", china, "NULL", "scan"),
                      row1 = row("20", "1", "\xD1\xCF\xD6\xD8", "Beijing|CMCC", "10.9.8.7:8080", "scan");
    auto page = [](const std::vector<std::string>& rows) { return R"({"data":[)" + joined(rows) + R"(], "today":0, "total":4})"; };
    const std::string areas = R"({"total":2, "data":[{"name":")" + a31 + R"(","cnt":2},{"name":")" + china + R"(","cnt":2}]})",
                      domains = R"({"total":2, "data":[{"dns":")" + n47 +
                                R"(","risc":[0,1,0,0]},)"
                                R"({"dns":"unused","risc":[1,0,0,0]}]})",
                      levels = "[{\"name\":\"critical\", \"cname\":\"\xD1\xCF\xD6\xD8\", \"cnt\":1},"
                               "{\"name\":\"high\", \"cname\":\"\xB8\xDF\", \"cnt\":1},"
                               "{\"name\":\"mid\", \"cname\":\"\xD6\xD0\", \"cnt\":0},"
                               "{\"name\":\"low\", \"cname\":\"\xB5\xCD\", \"cnt\":1}]",
                      types = R"([{"name":")" + t31 + R"(", "cnt":2},{"name":"scan", "cnt":2}])",
                      source = R"({"ip":"10.0.0.1","risc":[1,1,0,1]})", unrated = R"({"ip":"192.168.0.5","risc":[0,0,0,0]})",
                      others = R"({"ip":"192.168.0.2","risc":[0,1,0,0]},{"ip":"192.168.0.4","risc":[0,0,0,1]},)"
                               R"({"ip":"192.168.0.1","risc":[1,0,0,0]}]})";
    const Case cases[] = {
        malclog("", events, ""),
        malclog("show_flowlog=1", events, page({row5, row2, row4, row1})),
        malclog("show_flowlog=1 page=2 limit=3", events, page({row1})),
        malclog("show_flowlog=1 limit=1 page=2", events, page({row2})),
        malclog("show_flowlog=1 page=0", events, page({})),
        malclog("show_level=1", events, levels),
        malclog("show_srcip=1", events, R"({"total":1, "data":[)" + source + "]}"),
        malclog("show_dstip=1", events, R"({"total":4, "data":[)" + unrated + "," + others),
        malclog("show_malc=1 show_level=1 show_dstip=1 show_srcip=1 show_dns=1 show_area=1 show_flowlog=7 limit=0", events,
                page({}) + areas + domains + R"({"total":5, "data":[)" + source + "," + unrated + "," + others + levels + types),
    };
    run_cases(cases);
}

// More types than the pool has entries: new ones are dropped, those that are known still count.
TEST(MaliciousLog, FullPoolAndToday)
{
    auto now = static_cast<uint32_t>(time(nullptr));
    std::vector<Malicious> events;
    std::vector<std::string> types;
    for (unsigned i = 0; i < 33; i++)
        events.push_back({now + 200 - i, 3, false, 0, "", i == 0 ? "" : "type" + std::to_string(i), ""});
    events.push_back({now - 2 * 86400, 3, false, 0, "", "type31", ""}); // the oldest, not of today
    for (unsigned i = 0; i < 32; i++)
        types.push_back(R"({"name":")" + events[i].type + R"(", "cnt":)" + (i == 31 ? "2}" : "1}"));
    run_case(malclog("show_malc=1 show_flowlog=1 page=9", events, R"({"data":[], "today":33, "total":34}[)" + joined(types) + "]"));
}

TEST(MaliciousLog, RefusalsAndAddresses)
{
    const Request log{.code = 2054, .module = "malc", .data = leading(" log=1")},
        addresses{.code = 2055, .module = "malcip", .data = trailing("a=1 b ")};
    const Reply two = more(Bytes(8).ip(0, 10, 0, 0, 1).ip(4, 255, 1, 2, 3), 2, 8);
    const Case cases[] = {
        listing("malclog list", log, {{.error = 1, .error_text = "NO_LOG"}}, "NO_LOG\n", 255),
        listing("malclog list", log, {{.count = 10083}}, "INV_REPLY\n",
                255), // one more than the segment holds
        listing("malcip list a=1 b", addresses, {two, more("", 0), {.answer = Bytes(4), .count = 1}}, "10.0.0.1\n255.1.2.3\n0.0.0.0\n"),
        listing("malcip list a=1 b", addresses, {two, {.error = 2, .error_text = "GONE"}}, "10.0.0.1\n255.1.2.3\nGONE\n", 255),
    };
    run_cases(cases);
}

} // namespace

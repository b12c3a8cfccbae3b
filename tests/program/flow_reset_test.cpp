// tcpreset: reset connections one by one, per address and per name.
#include "tests/support/program.h"

#include <gtest/gtest.h>

namespace {

constexpr Daemon M = Daemon::management;

// clang-format off
uint64_t bits(uint32_t application, uint32_t status, uint32_t traffic_class, bool ipv6)
{
    return application | status << 14 | traffic_class << 26 | (ipv6 ? 2U << 30 : 0);
}

// 10.0.0.source to 10.1.0.destination
std::string reset(int source, int destination, uint32_t time, uint64_t bits, uint16_t port, std::string_view name)
{
    return Bytes(64).u32(0, time).be16(4, 1000).be16(6, port).ip(8, 10, 0, 0, source).ip(12, 10, 1, 0, destination)
        .u64(16, 150 | uint64_t{7} << 17 | uint64_t{200000} << 34).u16(24, 240).u16(26, 260)
        .u32(28, bits).u8(32, 32).text(33, name, 31);
}
std::string ipv6_block()
{
    return Bytes(32).be32(0, 0x20010db8).be32(12, 1).be32(16, 0x20010db8).be32(28, 2);
}

const std::string resets =
    reset(1, 1, 500, bits(2, 404, 5, false), 80, "a.example") +
    reset(2, 1, 300, bits(3, 201, 6, false), 443, "b.example") +
    reset(1, 2, 400, bits(10, 599, 5, true), 88, std::string(31, 'n')) + ipv6_block() + // 88 & 7 == 80 & 7
    reset(1, 1, 600, bits(10, 199, 0, false), 88, "a.example") +
    reset(3, 3, 0, bits(9, 0, 5, false), 8080, "") +
    reset(3, 3, 200, bits(0, 302, 6, false), 8081, "a.example");
// clang-format on
constexpr int reset_count = 6;

Case reset_case(const std::string& verb, const std::string& words, const std::string& output)
{
    const std::string text = words.empty() ? "" : " " + words;
    const Request request{.code = 2055, .module = "tcpreset", .data = leading(text), .wants_dictionary = text.starts_with(" type=src")};
    Case one = command("tcpreset " + verb + text, M, {{request, {.answer = resets, .count = reset_count}}}, output);
    one.dictionary = "full";
    return one;
}

const std::string address_1 = R"({"ip":"10.1.0.1","flowcnt":3,"http":1,"https":"1","maxtime":600, "mintime":300,"port":"88,443"})";
const std::string address_6 = R"({"ip":"2001:db8::2","flowcnt":1,"http":1,"https":"0","maxtime":400, "mintime":400,"port":"88"})";
const std::string address_3 = R"({"ip":"10.1.0.3","flowcnt":2,"http":1,"https":"1","maxtime":200, "mintime":200,"port":"8080,8081"})";
const std::string name_a = R"({"dns":"a.example","flowcnt":3,"http":1,"https":"1","maxtime":600, "mintime":200)"
                           R"(,"http20x":0,"http30x":1,"http40x":1,"http50x":0,"port":"88,8081"})";
const std::string name_b = R"({"dns":"b.example","flowcnt":1,"http":0,"https":"1","maxtime":300, "mintime":300)"
                           R"(,"http20x":1,"http30x":0,"http40x":0,"http50x":0,"port":"443"})";
const std::string name_n = R"({"dns":"nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn","flowcnt":1,"http":1,"https":"0","maxtime":400, "mintime":400)"
                           R"(,"http20x":0,"http30x":0,"http40x":0,"http50x":1,"port":"88"})";

std::string listing(const std::string& entries, int total)
{
    return R"({"data":[)" + entries + R"(],"total":)" + std::to_string(total) + "}";
}

TEST(Resets, Folded)
{
    auto ip = [](const std::string& words, const std::string& entries, int total = 3) {
        return reset_case("listip", words, listing(entries, total));
    };
    auto dns = [](const std::string& words, const std::string& entries, int total = 3) {
        return reset_case("listdns", words, listing(entries, total));
    };
    const Case cases[] = {
        ip("", address_1 + "," + address_6 + "," + address_3),
        ip("sort=flowcnt", address_1 + "," + address_6 + "," + address_3),
        ip("sort=flowcnt order=desc", address_6 + "," + address_3 + "," + address_1),
        ip("sort=flowcnt order=asc", address_1 + "," + address_3 + "," + address_6),
        ip("sort=http50x order=asc", address_1 + "," + address_6 + "," + address_3), // of names only
        ip("order=asc sort=mintime row=2-2", address_1),
        ip("filter=0.1.0 row=2-9 unknown", address_3, 2),
        ip("row=0-1", address_1),
        ip("row=3-2", ""),
        ip("type=src type=source", // no word of its own: changes nothing
           R"({"ip":"10.0.0.1","flowcnt":2,"http":1,"https":"0","maxtime":600, "mintime":500)"
           R"(,"app":"other|second"},)" // 10 has taken the slot of 2
           R"({"ip":"10.0.0.2","flowcnt":1,"http":0,"https":"1","maxtime":300, "mintime":300,"app":"TLS|secure web"},)"
           R"({"ip":"2001:db8::1","flowcnt":1,"http":1,"https":"0","maxtime":400, "mintime":400,"app":"other|second"},)"
           R"({"ip":"10.0.0.3","flowcnt":2,"http":1,"https":"1","maxtime":200, "mintime":200)"
           R"(,"app":"other|second,QUIC"|a\b"})",
           4),
        dns("", name_a + "," + name_b + "," + name_n),
        dns("sort=maxtime order=asc", name_b + "," + name_n + "," + name_a),
        dns("sort=maxtime order=desc", name_a + "," + name_n + "," + name_b),
        dns("sort=http20x order=desc filter=example", name_b + "," + name_a, 2),
        dns("sort=http50x order=desc row=1-1", name_n),
    };
    run_cases(cases);
}

TEST(Resets, LinesAndRefusals)
{
    const std::string line_1 = "500 1970-01-01/08:08:20 undname undname 167772161 1000 167837697 1000"
                               " 0.07 2000.00 1.50 240 260 32 a.example|404\n";
    const std::string line_6 = "400 1970-01-01/08:06:40 undname undname 2001:db8::1 1000 2001:db8::2 1000"
                               " 0.07 2000.00 1.50 240 260 32 nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn|599\n";
    const std::string bare = Bytes(64).u32(28, bits(4, 0, 0, false));
    const std::string line_bare = "0 1970-01-01/08:00:00 undname undname 0 0 0 0 0 0 0 0 0 0 NULL\n";
    const Request list{.code = 2055, .module = "tcpreset", .data = leading(" row=x")};
    const Exchange full{list, // 64 bytes each fill the segment to the last byte
                        {.count = 32768, .edit = [](Bytes&, std::span<char> segment) { segment[segment.size() - 33] = char(0x80); }}};
    Case beyond = command("tcpreset list row=x", M, {full}, "", 255); // the last one's IPv6 block
    beyond.check = [](const RunResult& run) { EXPECT_TRUE(run.output.ends_with("NULL\nINV_REPLY\n")); };
    const Case cases[] = {
        // records of both sizes; arguments only go to the daemon
        command("tcpreset list row=x", M,
                {{list, {.answer = resets.substr(0, 64), .count = 1, .last = false}},
                 {list, {.count = 0, .last = false}},
                 {list, {.answer = resets.substr(128, 96) + bare, .count = 2}}},
                line_1 + line_6 + line_bare),
        beyond,
        command("tcpreset list row=x", M, {{list, {.count = 32769}}}, "INV_REPLY\n", 255),
        command("tcpreset listip row=5", M, {}, "INVALID_ROW\n", 255),
        command("tcpreset listdns", M, {{{.code = 2055, .module = "tcpreset", .data = leading("")}, {.error = 3, .error_text = "BUSY"}}},
                "BUSY\n", 255),
    };
    run_cases(cases);
}

} // namespace

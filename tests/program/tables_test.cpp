// table, obsiptable, whiteip, tunwltable, dnstunwltable, obsdnsgrp.
#include "link/rpc_session.h"
#include "reports/tables/tables.h"
#include "tests/support/captured_output.h"
#include "tests/support/program.h"

#include <gtest/gtest.h>

// clang-format off
namespace {

constexpr Daemon A = Daemon::analysis, M = Daemon::management;
const Reply refusal{.error = 1, .error_text = "NO"};

TEST(Tables, RequestsAndUsages)
{
    const Reply done{.answer = "text", .count = 5};
    const Case cases[] = {
        command("table addip 3 10.0.0.1", A, {{{.code = 121, .data = counted("tid=3 ip=10.0.0.1")}, done}}, ""),
        command("table addip tid=3 ip=1.2.3.4 info=x y", A, {{{.code = 121, .data = counted("tid=3 ip=1.2.3.4 info=x y")}, done}}, ""),
        command("table rmvip t 1.2.3.4 more", A, {{{.code = 122, .data = counted("table=t ip=1.2.3.4")}, done}}, ""),
        command("table clear blocked more", A, {{{.code = 125, .module = "blocked"}, done}}, ""),
        command("table getcmp 7", A, {{{.code = 126, .module = "7", .segment_size = 2097152}, done}}, "text"),
        command("table getcmp 7", A, {{{.code = 126, .module = "7"}, refusal}}, "NO\n", 255),
        command("obsdnsgrp dumpgrp 5 x", M, {{{.code = 2054, .module = "obsdnsgrp", .data = counted("id=5 dns=1")}, done}}, "text"),
        command("whiteip config id=1 x=2 addr= name=n id=3", M,
                {{{.code = 2057, .module = "whiteip", .data = trailing("id=1 addr= name=n id=3 ")}, done}}, ""),
        command("table addip 3", A, {}, "iptbl addip table ip\n", 255),
        command("table rmvip 3", A, {}, "iptbl rmvip table ip\n", 255),
        command("table clear", A, {}, "gatectl iptbl clear tblid|tblname\n", 255),
        command("table clear " + std::string(116, 'x'), A, {}, "ARG_TOO_LONG\n", 255),
        command("table getcmp", A, {}, "gatectl iptbl getcmp tblid|tblname\n", 255),
        command("obsdnsgrp dumpgrp", M, {}, "dns list group-id\n", 255),
        command("whiteip config", M, {}, "usage:tblid=n offline_ttl=n badip_ttl=n\n", 255),
        command("whiteip get ip=bad", M, {}, "invalid ip\n", 255),
        command("whiteip list ip=10.1 ip=1.2.3.256", M, {}, "invalid ip\n", 255),
    };
    run_cases(cases);
}

TEST(Tables, Members)
{
    const std::string numbers = Bytes(8).u32(0, 0x0a000001).u32(4, 0xfffefdfc);
    const Request table{.code = 2054, .module = "table", .data = trailing("tid=1 "), .segment_size = 2097152};
    Request again = table;
    again.cursor = 3;
    const Reply first{.answer = numbers, .count = 2, .length = 0, .last = false, .cursor = 3};
    const Case cases[] = {
        // numbers, then text, batch by batch
        command("table get tid=1", A, {{table, first}, {again, {.answer = "rest\n", .count = 9, .length = 1}}}, "10.0.0.1\n255.254.253.252\nrest\n"),
        command("table get tid=1", A, {{table, first}, {again, refusal}}, "10.0.0.1\n255.254.253.252\nNO\n", 255),
        command("table get tid=1", A, {{table, {.count = 524289}}}, "INV_REPLY\n", 255),
        command("obsiptable get", M, {{{.code = 2054, .module = "obstable", .data = trailing("")}, {.answer = numbers, .count = 1, .length = -1}}}, "10.0.0.1\n"),
    };
    run_cases(cases);
}

TEST(Tables, WhiteList)
{
    auto white = [](uint32_t code, const std::string& data, const Reply& reply) {
        return Exchange{{.code = code, .module = "whiteip", .data = trailing(data)}, reply};
    };
    auto flow = [](uint16_t port) {
        return Bytes(24).u32(0, 0x0a000001).u32(4, 0x0a000002).u16(8, port).u16(10, 53).u32(12, 4000000000).u8(16, 17).u8(18, 0xab).u8(23, 1).str();
    };
    auto json = [](const std::string& port) {
        return R"({"src":"10.0.0.1", "sport":)" + port + R"(, "srcmac":"ab:00:00:00:00:01", "dst":"10.0.0.2", "dport":53, "birth":4000000000, "proto":17})";
    };
    auto line = [](const std::string& port) { return "10.0.0.1 " + port + " ab:00:00:00:00:01 10.0.0.2 53 4000000000 17\n"; };
    auto address = [](uint32_t ip, uint32_t flows, const std::string& text) {
        return Bytes(92).u32(0, ip).u32(4, 1).u32(8, 2).u32(12, flows).text(48, text, 44).str();
    };
    const std::string wide(44, 'd'), page = "showjson=1 page=2 limit=2";
    const Reply three{.answer = address(0x0a000001, 5, "a") + address(0x0a000002, 9, wide) + address(0x0a000003, 5, ""), .count = 3};
    const Reply flows{.answer = flow(1) + flow(2) + flow(3), .count = 3, .last = false};
    const Case cases[] = {
        command("whiteip list ip=10.1", M, {white(2055, "ip=10.1 ", flows), white(2055, "ip=10.1 ", refusal)}, line("1") + line("2") + line("3") + "NO\n", 255),
        command("whiteip list " + page, M, {white(2055, page + " ", flows), white(2055, page + " ", {.answer = flow(4) + flow(5), .count = 2})},
                R"({"list":[)" + json("3") + "," + json("4") + R"(], "total":5})"),
        command("whiteip list showjson=2", M, {white(2055, "showjson=2 ", refusal)}, "{\"list\":[NO\n", 255),
        command("whiteip get showjson=1", M, {white(2054, "showjson=1 ", three)},
                R"({"list":[{"ip":"10.0.0.2","birth":1,"lasttime":2,"flows":9,"desc":")" + wide + R"("},)"
                R"({"ip":"10.0.0.1","birth":1,"lasttime":2,"flows":5,"desc":"a"},)"
                R"({"ip":"10.0.0.3","birth":1,"lasttime":2,"flows":5,"desc":""}], "total":3})"),
        command("whiteip get ip=10.3", M, {white(2054, "ip=10.3 ", three)}, "10.0.0.3 1 2 5 \n"),
        command("whiteip get page=2 limit=1", M, {white(2054, "page=2 limit=1 ", three)}, "10.0.0.1 1 2 5 a\n"),
        command("whiteip get showjson=1", M, {white(2054, "showjson=1 ", refusal)}, "NO\n", 255),
    };
    run_cases(cases);
}

TEST(Tables, TunnelLists)
{
    const std::string ips = Bytes(112).u32(1, 0x0a000001).u8(56, 0xfe).u32(57, 0x0a000002);
    const std::string names = Bytes(112).u8(0, 1).text(1, "a.com").u8(56, 3).fill(57, 'n', 55);
    const std::string wide = "\"" + std::string(55, 'n') + "\"";
    auto list = [](const char* module, const std::string& data, const Reply& reply, int32_t cursor = 0) {
        return Exchange{{.code = 2055, .module = module, .data = trailing(data), .cursor = cursor, .segment_size = 1048576}, reply};
    };
    const Case cases[] = {
        // each kind has a query of its own
        command("tunwltable list", A, {list("tunwltable", "type=ip ", {.answer = ips, .count = 1, .last = false, .cursor = 8}),
                                       list("tunwltable", "type=ip ", {.answer = ips, .count = 2, .cursor = 9}, 8),
                                       list("tunwltable", "type=dns ", {.answer = names, .count = 2})},
                R"({"data":["10.0.0.1","10.0.0.1","10.0.0.2","a.com",)" + wide + R"(], "count":5})"),
        // a page that begins within the names
        command("dnstunwltable list page=2 limit=2", M, {list("dnstunwltable", "page=2 limit=2 type=ip ", {.answer = ips, .count = 2}),
                                                         list("dnstunwltable", "page=2 limit=2 type=dns ", {.answer = names, .count = 2})},
                R"({"data":["a.com",)" + wide + R"(], "count":4})"),
        command("tunwltable list type=ip type=dns", A, {list("tunwltable", "type=ip type=dns type=dns ", {.answer = names, .count = 1})},
                R"({"data":["a.com"], "count":1})"),
        command("tunwltable list type=foo", A, {}, R"({"data":[], "count":0})"),
        command("tunwltable list", A, {list("tunwltable", "type=ip ", {.answer = ips, .count = 1}), list("tunwltable", "type=dns ", refusal)},
                "{\"data\":[\"10.0.0.1\"NO\n", 255),
    };
    run_cases(cases);
}

// No verb leads to the membership test: it is called here.
TEST(Tables, MembershipTest)
{
    PrivateRoot root;
    std::string path = root.path() + socket_of(A), table = "blocked", ip = "10.1", bad = "10.x";
    ScriptedDaemon daemon(path, {{{.code = 348, .module = "blocked", .data = counted("167772161")}, {.answer = "yes\n"}}});
    ASSERT_EQ(0, rpc_init(path.c_str(), 4096));
    char *good[] = {table.data(), ip.data()}, *wrong[] = {table.data(), bad.data()};
    auto said = captured_output([&] {
        EXPECT_EQ(0, table_matchtest(2, good));
        EXPECT_EQ(-1, table_matchtest(2, wrong));
        EXPECT_EQ(-1, table_matchtest(1, good));
    });
    EXPECT_EQ("yes\ninvalid ip\ngatectl table matchtest tblid ip\n", said);
    rpc_close(false);
}

} // namespace

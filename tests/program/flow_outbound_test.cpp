// outconnect and dnsflow: single flows and their totals.
#include "tests/support/program.h"

#include <gtest/gtest.h>

namespace {

constexpr Daemon M = Daemon::management;

struct Places {
    std::string_view country, region = "", third = "", isp = "";
};

// 10.0.0.source to 192.168.1.destination
Bytes flow(int source, int destination, uint32_t up, uint32_t down, Places at, std::string_view host)
{
    // clang-format off
    return Bytes(252)
        .u32(0, 0x0a000000U + static_cast<uint32_t>(source)).u32(16, 0xc0a80100U + static_cast<uint32_t>(destination))
        .u16(32, 5000).u16(34, 53).u32(44, up).u32(48, down).u32(56, 1).u8(64, 17).u8(67, 2)
        .text(103, at.country, 15).text(118, at.region, 18).text(136, at.third, 17).text(153, at.isp, 16)
        .text(169, "x", 2).text(171, host);
    // clang-format on
}

const std::string flows = flow(1, 8, 10, 100, {"Norway", "Oslo", "Centre", "Telenor"}, "a.example").str() +
                          flow(2, 9, 20, 0, {"China", "Anhui"}, "b.example").u8(102, 1).str() +
                          flow(1, 9, 0, 0, {"", ""}, "c.example").str() +                           // no place
                          flow(1, 9, 1, 1, {"\xb1\xa3\xc1\xf4 range", "Oslo"}, "c.example").str() + // a reserved range
                          flow(3, 8, 40, 400, {"Norway", "", "", "Telia"}, "b.example").u32(56, 0x1c002).str() +
                          Bytes(flow(0, 0, 5, 6, {"", "Bergen"}, ""))
                              .be32(0, 0x20010db8)
                              .be32(12, 1)
                              .be32(16, 0x20010db8)
                              .be32(28, 2)
                              .u8(55, 0x40)
                              .u8(67, 83)
                              .str() +
                          flow(4, 8, 1, 0, {"", "Bergen"}, "").str(); // counted under a location and a name without a letter
constexpr int flow_count = 7;

const std::string object_1 = R"({"src":"10.0.0.1", "sport":5000,"desc":"one","dst":"192.168.1.8", "dport":53,"apid":1, "name":"undname")"
                             R"(, "cname":"undname","upbytes":10, "downbytes":100,"locisp":"NorwayOsloCentre|Telenor","proto":17)"
                             R"(,"host":"a.example"})";
const std::string object_2 = R"({"src":"10.0.0.2", "sport":5000,"desc":"NULL","dst":"192.168.1.9", "dport":53,"apid":1, "name":"undname")"
                             R"(, "cname":"undname","upbytes":20, "downbytes":0,"locisp":"ChinaAnhui","proto":17,"host":"b.example"})";
const std::string object_3 = R"({"src":"10.0.0.3", "sport":5000,"desc":"NULL","dst":"192.168.1.8", "dport":53,"apid":114690)"
                             R"(, "name":"undname", "cname":"undname","upbytes":40, "downbytes":400,"locisp":"Norway|Telia","proto":17)"
                             R"(,"host":"b.example"})";
const std::string object_6 = R"({"src":"2001:db8::1", "sport":5000,"desc":"NULL","dst":"2001:db8::2", "dport":53,"apid":1)"
                             R"(, "name":"undname", "cname":"undname","upbytes":5, "downbytes":6,"locisp":"Bergen","proto":17,"host":""})";
const std::string object_7 = R"({"src":"10.0.0.4", "sport":5000,"desc":"NULL","dst":"192.168.1.8", "dport":53,"apid":1, "name":"undname")"
                             R"(, "cname":"undname","upbytes":1, "downbytes":0,"locisp":"Bergen","proto":17,"host":""})";

Case flow_case(const std::string& line, const char* asked, const std::string& output, const std::string& forwarded = "")
{
    Case one =
        command(line, M, {{{.code = 2055, .module = asked, .data = trailing(forwarded)}, {.answer = flows, .count = flow_count}}}, output);
    one.dictionary = "full";
    one.files = {{"/conf/kestrel.conf", "mac ip=10.0.0.1 d=one\nmac ip=192.168.1.8 d=eight\n"}};
    return one;
}

TEST(Flows, Listed)
{
    Case refused = flow_case("outconnect listflow", "flow2", "{\"data\":[BUSY\n");
    refused.exchanges[0].reply = {.error = 3, .error_text = "BUSY"};
    refused.status = 255;
    const Case cases[] = {
        flow_case("outconnect listflow", "flow2",
                  R"({"data":[)" + object_1 + "," + object_2 + "," + object_3 + "," + object_6 + "," + object_7 + R"(], "total":5})"),
        flow_case("outconnect listflow page=2 x=1 limit=2 sort=byte dnssum=1", "flow2",
                  R"({"data":[)" + object_3 + "," + object_6 + R"(], "total":5})", "x=1 dnssum=1 "),
        flow_case("outconnect listflow ischina=1", "flow2", R"({"data":[)" + object_2 + R"(], "total":1})"),
        flow_case("dnsflow listflow limit=1", "flow", R"({"data":[)" + object_1 + R"(], "total":4})"),
        refused,
    };
    run_cases(cases);
}

TEST(Flows, FoldedOutbound)
{
    auto fold = [](const std::string& words, const std::string& output) {
        return flow_case("outconnect caluflow " + words, "flow", output);
    };
    const std::string eight = R"({"ip":"192.168.1.8","flow":3,"upbytes":500,"downbytes":51)"
                              R"(,"locisp":"Bergen","desc":"eight"})";
    const Case cases[] = {
        fold("", "192.168.1.8 3 500 51 eight\n192.168.1.9 1 0 20 NULL\n"),
        fold("json=1 limit=1", R"({"data":[)" + eight + R"(], "total":2})"),
        fold("json=1 issrc=1 sort=bytes limit=2 page=2",
             R"({"data":[{"ip":"10.0.0.2","flow":1,"upbytes":20,"downbytes":0,"locisp":"","desc":"NULL"})"
             R"(,{"ip":"10.0.0.4","flow":1,"upbytes":1,"downbytes":0,"locisp":"","desc":"NULL"}], "total":4})"),
        fold("json=1 ischina=1", R"({"data":[{"ip":"192.168.1.9","flow":1,"upbytes":0,"downbytes":20)"
                                 R"(,"locisp":"ChinaAnhui","desc":"NULL"}], "total":1})"),
        fold("sumloc=1 limit=1", "Norway 2 50 500\nAnhui 1 20 0\n 1 1 0\n"),
        fold("sumloc=1 json=1", R"({"data":[{"loc":"Norway","flow":2,"upbytes":50,"downbytes":500})"
                                R"(,{"loc":"Anhui","flow":1,"upbytes":20,"downbytes":0})"
                                R"(,{"loc":"","flow":1,"upbytes":1,"downbytes":0}], "total":3})"),
        fold("dnssum=1 json=1 sumloc=1 limit=1", R"({"total":3, "data":[{"dns":"b.example", "flow":2}]})"),
        fold("dnssum=1", R"({"total":3, "data":[{"dns":"b.example", "flow":2},{"dns":"a.example", "flow":1})"
                         R"(,{"dns":"", "flow":1}]})"),
        fold("appsum=1", R"({"data":[{"apid":1, "name":"undname", "cname":"undname", "flow":3})"
                         R"(,{"apid":49154, "name":"undname", "cname":"undname", "flow":1}], "total":2})"),
        fold("appsum=1 json=1 dnssum=1", R"({"data":[], "total":0})"),
    };
    run_cases(cases);
}

TEST(Flows, FoldedNames)
{
    const std::string a = R"({"dns":"a.example", "flow":1, "succ":1, "fail":0})";
    const std::string c = R"({"dns":"c.example", "flow":2, "succ":1, "fail":1})";
    const std::string b = R"({"dns":"b.example", "flow":1, "succ":1, "fail":0})";
    const std::string none = R"({"dns":"", "flow":1, "succ":0, "fail":1})";
    const std::string reserved = "\xb1\xa3\xc1\xf4 range";
    const std::string places = R"({"loc":"Norway","flow":2,"succ":2,"fail":0},{"loc":")" + reserved +
                               R"(","flow":1,"succ":1,"fail":0},{"loc":"","flow":1,"succ":0,"fail":1})";
    const std::string source_1 = R"({"ip":"10.0.0.1","flow":3,"succ":2,"fail":1,"desc":"one"})";
    const std::string source_3 = R"({"ip":"10.0.0.3","flow":1,"succ":1,"fail":0,"desc":"NULL"})";
    const std::string rest = R"(,{"ip":"10.0.0.4","flow":1,"succ":0,"fail":1,"desc":"NULL"})"
                             R"(], "src_total":3, "totalflow":5, "succflow":3,"dst_data":[)"
                             R"({"ip":"192.168.1.8","flow":3,"succ":2,"fail":1,"desc":"eight","locisp":"Bergen"})"
                             R"(,{"ip":"192.168.1.9","flow":2,"succ":1,"fail":1,"desc":"NULL","locisp":")" +
                             reserved +
                             R"(Oslo"}], "dst_total":2,"port_data":[{"port":"1","flow":4,"succ":2,"fail":2})"
                             R"(,{"port":"114690","flow":1,"succ":1,"fail":0}]})";
    auto fold = [](const std::string& words, const std::string& output, const std::string& forwarded = "") {
        return flow_case("dnsflow caluflow " + words, "flow", output, forwarded);
    };
    const Case cases[] = {
        fold("limit=4 json=0 issrc=1",
             R"({"dnstotal":4, "dns_data":[)" + a + "," + c + "," + b + "," + none + R"(],"loc_data":[)" + places +
                 R"(], "loctotal":3,"src_data":[)" + source_1 + "," + source_3 + rest,
             "issrc=1 "),
        fold("sort=bytes limit=1", R"({"dnstotal":4, "dns_data":[)" + b + R"(],"loc_data":[)" + places + R"(], "loctotal":3,"src_data":[)" +
                                       source_3 + "," + source_1 + rest),
        fold("sort=flow limit=1 page=2", R"({"dnstotal":4, "dns_data":[)" + a + R"(],"loc_data":[)" + places +
                                             R"(], "loctotal":3,"src_data":[)" + source_1 + "," + source_3 + rest),
        fold("ischina=1 appsum=1", R"({"dnstotal":1, "dns_data":[{"dns":"b.example", "flow":1, "succ":0, "fail":1}],"loc_data":[)"
                                   R"({"loc":"Anhui","flow":1,"succ":0,"fail":1}], "loctotal":1,"src_data":[)"
                                   R"({"ip":"10.0.0.2","flow":1,"succ":0,"fail":1,"desc":"NULL"}], "src_total":1, "totalflow":1)"
                                   R"(, "succflow":0,"dst_data":[)"
                                   R"({"ip":"192.168.1.9","flow":1,"succ":0,"fail":1,"desc":"NULL","locisp":"ChinaAnhui"})"
                                   R"(], "dst_total":1,"port_data":[{"port":"1","flow":1,"succ":0,"fail":1}]})"),
    };
    run_cases(cases);
}

} // namespace
